// orbwatch init: a sample selection to start from.
// Existing files are never overwritten: if one exists, nothing is written.
#include "host/Console.h"
#include "host/commands/Commands.h"
#include "host/records/FileRecords.h"
#include "orbwatcher4/OrbFilter.h"
#include "support/Handle.h"

#include <shlobj.h>

namespace
{

struct Sample {
    const wchar_t* name;
    const char* text;
};

// "@HOME@" is replaced by the folder of the user.
constexpr Sample samples[] = {
    {L"selection.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- What is backed up. The deepest rule that speaks of a path wins; at the same
     depth an exclusion wins. Numbers are decimal. -->
<Data>
  <!-- A folder (type 1) with everything below it. -->
  <Item path="@HOME@\Documents\" type="1" includeSub="1" pluginName="Documents" pluginId="1"/>
  <!-- A sub-folder that is kept out. -->
  <Item path="@HOME@\Documents\Scratch\" type="1" includeSub="1" exclude="1"/>
  <!-- Everything but the endings of the mask (masktype 2). -->
  <Item path="@HOME@\Pictures\" type="1" includeSub="1" masktype="2" mask=".tmp;.bak" pluginName="Pictures" pluginId="2"/>
  <!-- A single file (type 0). -->
  <Item path="@HOME@\notes.txt" type="0"/>
</Data>
)"},
    {L"auto-exclude.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- What the product itself keeps out. The same format as selection.xml. -->
<Data>
  <Item path="@HOME@\Documents\Cache\" type="1" includeSub="1" exclude="1"/>
</Data>
)"},
    {L"advanced.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- Asked after the selection, for every path that it includes. $$ALLPATHS$$
     means every path; without it a rule speaks of its own folder. -->
<Data>
  <!-- Editors' temporary files, by regular expression. -->
  <Item path="@HOME@\" type="1" includeSub="1" exclude="1" isregex="1" mask="\\~\$[^\\]*$"/>
</Data>
)"},
};

// The ampersand is the only character with a meaning in XML that a path can contain.
std::string AsAttribute(const std::string& path)
{
    std::string text;
    for (const char unit : path)
        if (unit == '&')
            text += "&amp;";
        else
            text += unit;
    return text;
}

std::string WithHome(std::string text)
{
    wchar_t home[MAX_PATH] = L"C:\\Users\\Public";
    SHGetFolderPathW(nullptr, CSIDL_PROFILE, nullptr, 0, home);
    const std::string folder = AsAttribute(ToUtf8(home));
    const std::string mark = "@HOME@";
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + folder.size()))
        text.replace(at, mark.size(), folder);
    return text;
}

bool WriteNew(const std::wstring& path, const std::string& text)
{
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    DWORD written = 0;
    return file && WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
           written == text.size();
}

class InitCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "init",
                .summary = "write a small, commented sample selection",
                .examples = {"orbwatch init C:\\selection"},
                .text = R"(
Files that are there already are never overwritten: then nothing is written.)",
                .records = {CreatedRecord::Kind},
                .ends = {EndDone, EndFailed, EndRefused}};
    }
    ExitCode Run(RecordWriter& writer) override
    {
        const std::wstring folder = FullPath(m_folder);
        const CString root = OrbFilter::StripToRoot(folder.c_str());
        if (GetFileAttributesW(root) == INVALID_FILE_ATTRIBUTES) {
            writer.Error(L"its drive or share, " + folder.substr(0, static_cast<std::size_t>(root.GetLength())) +
                             L", is not there, and nothing was written; name another folder",
                         folder);
            return ExitUsage;
        }
        const int made = SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
        const DWORD attributes = GetFileAttributesW(folder.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
            writer.Error(L"the folder cannot be created: " + SystemText(static_cast<DWORD>(made)) +
                             L" Name another one.",
                         folder);
            return ExitFailure;
        }
        for (const Sample& sample : samples)
            if (const std::wstring path = folder + L"\\" + sample.name;
                GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) {
                writer.Error(L"the file is there already; nothing was written. Name another folder, or remove it",
                             path);
                return ExitFailure;
            }
        for (const Sample& sample : samples) {
            const std::wstring path = folder + L"\\" + sample.name;
            if (!WriteNew(path, WithHome(sample.text))) {
                writer.Error(L"the file cannot be written: " + SystemText(GetLastError()) + L" Name another folder.",
                             path);
                return ExitFailure;
            }
            writer.Write(CreatedRecord{path});
        }
        return ExitDone;
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddFolder(app, "folder", m_folder, "where; made when missing")->required();
        m_general.AddJsonTo(app);
    }

    std::wstring m_folder;
};

} // namespace

std::unique_ptr<Command> MakeInitCommand() { return std::make_unique<InitCommand>(); }

// orbwatch explain: why paths are selected or not.
#include "host/Console.h"
#include "host/LibraryMessages.h"
#include "host/PathNames.h"
#include "host/commands/Commands.h"
#include "host/records/ExplainRecord.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

namespace
{

// Returns why no file can have the path, which may be relative; empty when one can. `full`: its absolute form.
std::wstring WhyNoPath(const std::wstring& path, const std::wstring& full)
{
    if (path.find_first_not_of(L' ') == std::wstring::npos)
        return L"it holds nothing but spaces";
    if (full.starts_with(L"\\\\.\\") || (!IsFullPath(path) && !DeviceNameIn(path).empty()))
        return L"it names a device, and a device is never backed up; write the path of a file, with its drive";
    if (const wchar_t unit = ImpossibleUnitIn(path))
        return std::wstring(L"no name holds ") + unit +
               (unit == L':' ? L", which stands behind the letter of a drive alone" : L"; a path has no wildcards");
    return {};
}

std::wstring FolderOf(const std::wstring& path)
{
    const std::size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash);
}

// Explains one path after the other, and reports failures.
class Explainer
{
public:
    Explainer(COrbWatcher& watcher, RecordWriter& writer) : m_watcher(watcher), m_writer(writer) {}

    // Returns false for a text that can be no path.
    bool Explain(const std::wstring& path)
    {
        if (path.find(L'"') != std::wstring::npos) {
            m_writer.Error(L"this is no path: it holds a quotation mark. Leave the mark out; in a command line, leave "
                           L"out the backslash before a closing mark, too",
                           path);
            return false;
        }
        // A change reports a path in the system's form.
        const std::wstring full = IsFullPath(path) ? path : FullPath(path);
        if (const std::wstring why = WhyNoPath(path, full); !why.empty()) {
            m_writer.Error(L"this is no path of a file: " + why, path);
            return false;
        }
        if (!path.empty() && !IsFullPath(path))
            m_writer.Note(L"this is no full path; it is taken from the folder that the command runs in, as " + full,
                          path);
        const std::wstring asked = OrbFilter::SystemForm(full.c_str()).GetString();
        TellWhatIsInTheWay(path, asked);
        m_writer.Write(ExplainRecord{path, m_watcher.Explain(asked.c_str())});
        for (const LibraryMessages::Line& line : m_messages.Take())
            if (!line.finding)
                m_writer.Note(line.text);
        return true;
    }

    // Reports why nothing can be there at the moment; the rules are explained all the same.
    void TellWhatIsInTheWay(const std::wstring& path, const std::wstring& asked)
    {
        if (const std::wstring file = FileInTheWay(FolderOf(asked)); !file.empty())
            m_writer.Note(L"nothing can be there now: " + file + L" is a file", path);
        if (const std::wstring device = DeviceNameIn(path); !device.empty())
            m_writer.Note(device + L" is a name that Windows keeps for a device; hardly a file can have it", path);
    }

    // Returns false when there is no path, and when a line is none.
    bool ExplainStandardInput();

private:
    COrbWatcher& m_watcher;
    RecordWriter& m_writer;
    LibraryMessages m_messages{LibraryMessages::Keep::Failures};
};

// Removes a byte order mark at the beginning, as editors write it, and Windows line ends.
std::string_view Trimmed(std::string_view line, bool first)
{
    if (first && line.starts_with("\xEF\xBB\xBF"))
        line.remove_prefix(3);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

bool Explainer::ExplainStandardInput()
{
    _setmode(_fileno(stdin), _O_BINARY);
    int number = 0;
    bool any = false, good = true;
    for (std::string text; m_writer.Good() && std::getline(std::cin, text);) {
        const std::string_view line = Trimmed(text, number++ == 0);
        if (!IsUtf8(line)) {
            m_writer.Error(L"line " + std::to_wstring(number) +
                           L" of standard input is not UTF-8; save the list as UTF-8");
            any = true;
            good = false;
            continue;
        }
        if (line.empty())
            continue;
        any = true;
        good = Explain(FromUtf8(line)) && good;
    }
    if (!any)
        m_writer.Error(L"standard input holds no path; write one path a line, in UTF-8");
    return any && good;
}

class ExplainCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "explain",
                .summary = "say why paths are selected or not",
                .examples = {"orbwatch explain --data selection.xml \"C:\\Users\\me\\Documents\\letter.doc\"",
                             "orbwatch explain --data selection.xml --json - <paths.txt"},
                .text = R"(
The path need not exist. The rule that decides is marked with >. A text that no file can have as its path is an
error (2), and the other paths are explained: a device (CON), a wildcard, or nothing but spaces.)",
                .records = {ExplainRecord::Kind},
                .ends = {EndDone, EndUnwritten, EndRefused, EndInterrupted}};
    }
    std::optional<Inputs> Named() const override { return Inputs{m_files, {}, m_index, m_destination}; }
    ExitCode Run(RecordWriter& writer) override
    {
        EndWhenInterrupted();
        COrbWatcher watcher(false);
        watcher.Init();
        if (LoadSelection(watcher, m_files, writer) == SelectionState::Unusable)
            return ExitUsage;
        watcher.SetDestBackupFolderDB(FullPath(m_destination).c_str());
        watcher.SetIndexDB(m_index.c_str());
        Explainer explainer(watcher, writer);
        bool good = true;
        for (const std::wstring& path : m_paths)
            good = (path == L"-" ? explainer.ExplainStandardInput() : explainer.Explain(path)) && good;
        return !writer.Good() ? ExitFailure : good ? ExitDone : ExitUsage;
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddSelectionAndFilters(app, m_files)->required();
        m_general.AddTo(app);
        AddOutside(app, m_index, m_destination);
        AddPaths(app, "paths", m_paths, "paths; - reads them from standard input, UTF-8, one a line")->required();
    }

    SelectionFiles m_files;
    std::wstring m_index, m_destination;
    std::vector<std::wstring> m_paths; // "-": reads standard input, one path a line
};

} // namespace

std::unique_ptr<Command> MakeExplainCommand() { return std::make_unique<ExplainCommand>(); }

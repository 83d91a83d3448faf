#include "host/OutputFiles.h"

#include "companions/settings/DataFolder.h"
#include "host/Console.h"
#include "support/SameFile.h"
#include "support/SystemPath.h"

namespace
{

// Returns true when the folder that the file is to lie in is there.
bool IsFolderOf(const std::wstring& file)
{
    return FolderIsThere(SystemPath(file.substr(0, file.find_last_of(L'\\') + 1).c_str()).GetString());
}

} // namespace

std::vector<NamedFile> FilesOf(const SelectionFiles& files)
{
    return {{L"the selection", files.data, L"--data"},
            {L"the automatic exclusions", files.autoExclude, L"--auto-exclude"},
            {L"the advanced filters", files.advanced, L"--advanced"},
            {L"the second selection", files.secondary, L"--secondary"}};
}

std::vector<NamedFile> FilesThatStay(const SelectionFiles& selection, const std::wstring& index)
{
    std::vector<NamedFile> files = FilesOf(selection);
    for (const wchar_t* ending : {L"", L"-wal", L"-shm", L"-journal", L"-claim"})
        if (!index.empty())
            files.push_back({L"the index", index + ending});
    const std::wstring folder = std::wstring(DataFolder::Path().GetString()) + L"\\";
    files.push_back({L"the dump of what is pending", folder + L"watcher_dump.bin"});
    files.push_back({L"the log", folder + L"OrbWatcher.log"});
    files.push_back({L"the claim of a running command", folder + L"watcher_claim.txt"});
    for (const wchar_t* name : {L"MainSettings.json", L"ServiceRunSettings.json", L"UserConfigurations.json"})
        files.push_back({L"a file of settings", folder + name});
    return files;
}

std::wstring NameAmong(const std::wstring& path, const std::vector<NamedFile>& files)
{
    for (const NamedFile& file : files)
        if (IsSameFile(path.c_str(), file.path.c_str()))
            return file.what;
    return {};
}

bool MayBeWritten(const Output& output, const std::vector<NamedFile>& inputs, RecordWriter& writer)
{
    if (const std::wstring input = NameAmong(output.path, inputs); !input.empty()) {
        writer.Error(L"this is " + input + L", and nothing was written over it; name another " + output.option,
                     output.path);
        return false;
    }
    if (!IsFolderOf(output.path)) {
        writer.Error(L"its folder is not there, and nothing was written; make the folder, or name another " +
                         output.option,
                     output.path);
        return false;
    }
    if (!FileIsThere(output.path) || output.force || output.isOwn(output.path))
        return true;
    writer.Error(L"the file is there, and is not " + output.ownKind + L"; nothing was written. Name another " +
                     output.option + L", or replace it with --force",
                 output.path);
    return false;
}

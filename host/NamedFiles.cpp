#include "host/NamedFiles.h"

#include "companions/settings/DataFolder.h"
#include "host/Console.h"
#include "host/DataFolderTrust.h"
#include "host/Destination.h"
#include "support/Handle.h"
#include "support/SameFile.h"
#include "support/SystemPath.h"

#include <string_view>

namespace
{

// Returns what is missing of the folder that the file is to lie in; empty when it is there.
std::wstring WhatIsMissingOf(const std::wstring& file)
{
    if (FolderIsThere(SystemPath(file.substr(0, file.find_last_of(L'\\') + 1).c_str()).GetString()))
        return {};
    const CString root = OrbFilter::StripToRoot(file.c_str());
    return GetFileAttributesW(root) == INVALID_FILE_ATTRIBUTES ? L"its drive or share is not there"
                                                               : L"its folder is not there";
}

using namespace std::string_view_literals;

constexpr std::string_view IndexBegin = "SQLite format 3\0"sv;

// A file that cannot be read is not judged here: opening it as an index says why.
bool BeginsAsIndex(const std::wstring& path)
{
    constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const FileHandle file(
        CreateFileW(SystemPath(path.c_str()), GENERIC_READ, forAll, nullptr, OPEN_EXISTING, 0, nullptr));
    std::string begin(IndexBegin.size(), '\0');
    DWORD bytes = 0;
    if (!file || !ReadFile(file.Get(), begin.data(), static_cast<DWORD>(begin.size()), &bytes, nullptr) || bytes == 0)
        return true;
    return std::string_view(begin.data(), bytes) == IndexBegin;
}

// Returns false, and reports the first one, when a folder stands where a file should be.
bool AreNoFolders(const std::vector<NamedFile>& files, RecordWriter& writer)
{
    for (const NamedFile& file : files)
        if (!file.path.empty() && FolderIsThere(SystemPath(file.path.c_str()).GetString())) {
            writer.Error(L"this is a folder, not a file; name " + file.what + L" with " + file.option, file.path);
            return false;
        }
    return true;
}

// Returns false, and reports it, when the file is one of the others, or is there and does not begin as an index. An
// empty file becomes an index.
bool MayBeIndex(const std::wstring& index, const std::vector<NamedFile>& others, RecordWriter& writer)
{
    if (index.empty())
        return true;
    if (const std::wstring other = NameAmong(index, others); !other.empty()) {
        writer.Error(L"this is " + other + L", and no index; name the index with --index", index);
        return false;
    }
    if (const std::wstring missing = WhatIsMissingOf(index); !missing.empty()) {
        writer.Error(missing + L"; name another --index, or make the folder", index);
        return false;
    }
    if (BeginsAsIndex(index))
        return true;
    writer.Error(L"this is no index, it does not begin as one. Nothing was changed; name the index with --index. If it "
                 L"was the index once, it is damaged: move it away to start anew, and everything counts as new",
                 index);
    return false;
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
    if (FolderIsThere(SystemPath(output.path.c_str()).GetString())) {
        writer.Error(L"this is a folder, not a file, and nothing was written; name a file with " + output.option,
                     output.path);
        return false;
    }
    if (const std::wstring missing = WhatIsMissingOf(output.path); !missing.empty()) {
        writer.Error(missing + L", and nothing was written; name another " + output.option + L", or make the folder",
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

std::optional<ExitCode> RefuseInputs(const Inputs& inputs, RecordWriter& writer)
{
    if (const std::optional<ExitCode> refused = RefuseDataFolder(writer))
        return refused;
    std::vector<NamedFile> files = FilesOf(inputs.selection);
    files.insert(files.end(), inputs.others.begin(), inputs.others.end());
    files.push_back({L"the index", inputs.index, L"--index"});
    const bool usable = AreNoFolders(files, writer) && MayBeIndex(inputs.index, FilesOf(inputs.selection), writer) &&
                        IsUsableDestination(inputs.destination, writer);
    return usable ? std::nullopt : std::optional(ExitUsage);
}

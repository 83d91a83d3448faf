#include "host/InputFiles.h"

#include "host/Console.h"
#include "host/DataFolderTrust.h"
#include "host/Destination.h"
#include "support/Handle.h"
#include "support/SystemPath.h"

#include <windows.h>

#include <string_view>

namespace
{

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
    if (BeginsAsIndex(index))
        return true;
    writer.Error(L"this is no index, it does not begin as one. Nothing was changed; name the index with --index. If it "
                 L"was the index once, it is damaged: move it away to start anew, and everything counts as new",
                 index);
    return false;
}

} // namespace

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

#include "support/FileReplacement.h"

#include "support/DraftFile.h"
#include "support/Handle.h"
#include "support/SystemPath.h"

#include <algorithm>
#include <vector>

namespace
{

// The pauses before each further try; together, the time that a scanner needs for a small file.
constexpr DWORD PausesInMs[] = {10, 20, 40, 60, 80};
constexpr DWORD LargestWrite = 1 << 20;
// A new file has none of these attributes by itself.
constexpr DWORD KeptAttributes =
    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

bool IsThere(const CString& path) { return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES; }

// Some systems would replace such a file; but a file that is marked read-only must stay as it is, and so must a folder.
bool MustStay(const CString& path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY)) != 0;
}

// Returns the target when the path is a link to a file. A path that the system cannot resolve is returned as it is.
CString ResolveLink(const CString& path)
{
    const FileHandle file(CreateFileW(SystemPath(path), FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return path;
    std::vector<wchar_t> target(32768);
    const DWORD length = GetFinalPathNameByHandleW(file.Get(), target.data(), static_cast<DWORD>(target.size()), 0);
    return length > 0 && length < target.size() ? PlainPath(target.data()) : path;
}

// A power failure would lose a draft that is only in memory, and the old file with it.
bool Flush(const CString& path)
{
    const FileHandle file(CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    return file && FlushFileBuffers(file.Get());
}

// Never opens a file or a link that exists already.
FileHandle CreateDraft(const CString& path, SECURITY_ATTRIBUTES* access)
{
    return FileHandle(CreateFileW(path, GENERIC_WRITE, 0, access, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool WriteAll(const FileHandle& file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto count = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), LargestWrite));
        DWORD written = 0;
        if (!WriteFile(file.Get(), bytes.data(), count, &written, nullptr))
            return false;
        if (written != count) {
            SetLastError(ERROR_DISK_FULL);
            return false;
        }
        bytes.remove_prefix(count);
    }
    return true;
}

// The system itself keeps the access list, and only that. If the account may not set an owner, the draft's owner stays.
void TakeOver(const CString& target, const CString& draft)
{
    const DWORD attributes = GetFileAttributesW(target);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & KeptAttributes) != 0)
        SetFileAttributesW(draft, attributes & KeptAttributes);
    alignas(8) std::byte owner[sizeof(SECURITY_DESCRIPTOR) + 2 * SECURITY_MAX_SID_SIZE];
    DWORD needed = 0;
    if (GetFileSecurityW(target, OWNER_SECURITY_INFORMATION, owner, sizeof owner, &needed))
        SetFileSecurityW(draft, OWNER_SECURITY_INFORMATION, owner);
}

// Returns true for a file that is open without permission to delete it: it cannot be replaced. The check comes first,
// because Wine leaves an empty file behind for each replacement that it refuses.
bool IsHeld(const CString& path)
{
    const FileHandle file(CreateFileW(path, DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return !file && GetLastError() == ERROR_SHARING_VIOLATION;
}

bool PutOnce(const CString& draft, const CString& target, DWORD flags)
{
    if (IsHeld(target))
        return false;
    if (ReplaceFileW(target, draft, nullptr, flags, nullptr, nullptr))
        return true;
    switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        // The next try replaces a target that has come in the meantime.
        return MoveFileExW(draft, target, MOVEFILE_WRITE_THROUGH);
    case ERROR_NOT_SUPPORTED:
    case ERROR_INVALID_FUNCTION:
    case ERROR_CALL_NOT_IMPLEMENTED:
        // The file system has no access lists.
        return MoveFileExW(draft, target, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    default:
        return false;
    }
}

bool MayPass(DWORD error)
{
    switch (error) {
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
    case ERROR_DELETE_PENDING:
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
    case ERROR_UNABLE_TO_REMOVE_REPLACED:
    case ERROR_UNABLE_TO_MOVE_REPLACEMENT:
    case ERROR_UNABLE_TO_MOVE_REPLACEMENT_2:
        return true;
    default:
        return false;
    }
}

bool Put(const CString& draft, const CString& target)
{
    TakeOver(target, draft);
    for (const DWORD pause : PausesInMs) {
        if (PutOnce(draft, target, 0))
            return true;
        if (!MayPass(GetLastError()))
            return false;
        Sleep(pause);
    }
    // On a share, a user who may change files may not be allowed to set access lists: the content is more important.
    return PutOnce(draft, target, REPLACEFILE_IGNORE_MERGE_ERRORS);
}

// Calls `write` to make the draft in an empty file, which is closed afterwards.
bool ReplaceAt(const CString& plain, SECURITY_ATTRIBUTES* access,
               const std::function<bool(FileHandle& file, const CString& draft)>& write)
{
    const CString target = SystemPath(plain);
    if (MustStay(target)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    RemoveOldDrafts(plain);
    const CString draft = SystemPath(DraftPath(plain));
    const bool wasThere = IsThere(target);
    FileHandle file = CreateDraft(draft, access);
    if (!file)
        return false;
    const bool written = write(file, draft);
    file.Reset();
    if (written && Flush(draft) && Put(draft, target))
        return true;
    const DWORD error = GetLastError();
    // The system can remove the old file before it fails; the draft is then the only copy.
    if (!wasThere || IsThere(target))
        DeleteFileW(draft);
    SetLastError(error);
    return false;
}

} // namespace

bool ReplaceWhole(const CString& path, const std::function<bool(const CString& draft)>& write)
{
    return ReplaceAt(ResolveLink(path), nullptr, [&write](FileHandle& file, const CString& draft) {
        file.Reset(); // `write` opens the file by its name
        return write(draft);
    });
}

bool ReplaceWhole(const CString& path, std::string_view bytes)
{
    return ReplaceAt(ResolveLink(path), nullptr,
                     [bytes](const FileHandle& file, const CString&) { return WriteAll(file, bytes); });
}

bool ReplaceOwn(const CString& path, std::string_view bytes, SECURITY_ATTRIBUTES* access)
{
    return ReplaceAt(path, access, [bytes](const FileHandle& file, const CString&) { return WriteAll(file, bytes); });
}

CString MoveAside(const CString& path)
{
    constexpr int most = 99;
    CString aside = path + L".bad";
    for (int number = 2; number <= most && IsThere(aside); ++number)
        aside.Format(L"%s.bad%d", path.GetString(), number);
    return MoveFileExW(path, aside, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) ? aside : CString();
}

bool SetAside(const CString& path)
{
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return true;
    return MoveFileExW(path, path + L".bad", MOVEFILE_REPLACE_EXISTING);
}

void TakeBack(const CString& path) { MoveFileExW(path + L".bad", path, MOVEFILE_WRITE_THROUGH); }

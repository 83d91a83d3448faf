#include "support/FileReplacement.h"

#include "support/DraftFile.h"
#include "support/Handle.h"

namespace
{

// Replacing would succeed on some systems; a file marked read-only is meant to stay as it is.
bool IsReadOnly(const CString& path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

// What is only in memory would be lost with the power, and the old file with it.
bool Flush(const CString& path)
{
    const FileHandle file(CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    return file && FlushFileBuffers(file.Get());
}

} // namespace

bool ReplaceWhole(const CString& path, const std::function<bool(const CString& draft)>& write)
{
    if (IsReadOnly(path)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    RemoveOldDrafts(path);
    const CString draft = DraftPath(path);
    if (write(draft) && Flush(draft) && MoveFileExW(draft, path, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    const DWORD error = GetLastError();
    DeleteFileW(draft);
    SetLastError(error);
    return false;
}

bool SetAside(const CString& path)
{
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return true;
    return MoveFileExW(path, path + L".bad", MOVEFILE_REPLACE_EXISTING);
}

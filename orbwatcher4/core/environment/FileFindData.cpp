#include "orbwatcher4/core/environment/FileFindData.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/PathRoot.h"
#include "support/Backslash.h"
#include "support/Handle.h"
#include "support/LockOrder.h"
#include "support/SystemPath.h"

#include <shlwapi.h>

bool GetFileFindData(const wchar_t* path, WIN32_FIND_DATAW* data)
{
    const LockOrder::DiskScope disk;
    *data = {};
    CString name(path);
    if (!name.IsEmpty() && name[name.GetLength() - 1] == L'\\')
        name = name.Left(name.GetLength() - 1);
    if (const FindHandle found(FindFirstFileW(SystemPath(name), data)); found)
        return true;
    const DWORD error = GetLastError();
    *data = {};
    g_OrbLog.Log(L"File: %s", name.GetString());
    g_OrbLog.Log(L"Last Error: %d", error);
    return false;
}

DWORD OwnAttributes(const CString& path)
{
    const LockOrder::DiskScope disk;
    const CString folder = WithBackslash(path);
    return GetFileAttributesW(SystemPath(PathIsRootW(folder) ? folder : WithoutBackslash(folder)));
}

bool IsDirectory(const wchar_t* path)
{
    const LockOrder::DiskScope disk;
    const DWORD attributes = GetFileAttributesW(SystemPath(path));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

CString RootOf(const wchar_t* path)
{
    CString root = PathRoot(path);
    if (!root.IsEmpty() && root[root.GetLength() - 1] != L'\\')
        root += L'\\';
    return root;
}

bool IsReachable(const wchar_t* path)
{
    const LockOrder::DiskScope disk;
    return GetFileAttributesW(RootOf(path)) != INVALID_FILE_ATTRIBUTES;
}

bool IsReallyGone(const wchar_t* path)
{
    const LockOrder::DiskScope disk;
    if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES)
        return false;
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND && error != ERROR_INVALID_NAME)
        return false;
    return IsReachable(path);
}

#include "orbwatcher4/core/environment/FileFindData.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/PathRoot.h"
#include "support/Backslash.h"
#include "support/Handle.h"
#include "support/LockOrder.h"
#include "support/SystemPath.h"

#include <shlwapi.h>

namespace
{

// Returns true for an error that a root gives when its drive, its volume or its server is not there.
bool MeansAway(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_UNIT:
    case ERROR_NOT_READY:
    case ERROR_REM_NOT_LIST:
    case ERROR_BAD_NETPATH:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_UNEXP_NET_ERR:
    case ERROR_NETNAME_DELETED:
    case ERROR_BAD_NET_NAME:
    case ERROR_SEM_TIMEOUT:
    case ERROR_CONNECTION_UNAVAIL:
    case ERROR_NO_NET_OR_BAD_PATH:
    case ERROR_NO_NETWORK:
    case ERROR_NETWORK_UNREACHABLE:
    case ERROR_HOST_UNREACHABLE:
    case ERROR_NOT_CONNECTED:
    case ERROR_NO_MEDIA_IN_DRIVE:
    case ERROR_NETWORK_BUSY:
    case ERROR_CONNECTION_ABORTED:
    case ERROR_CONNECTION_REFUSED:
        return true;
    default:
        return false;
    }
}

} // namespace

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

bool IsReachable(const wchar_t* path) { return StateOfRoot(path) == RootState::There; }

RootState StateOfRoot(const wchar_t* path)
{
    const LockOrder::DiskScope disk;
    if (GetFileAttributesW(RootOf(path)) != INVALID_FILE_ATTRIBUTES)
        return RootState::There;
    return MeansAway(GetLastError()) ? RootState::Away : RootState::Unknown;
}

bool MeansNothingThere(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME;
}

bool IsReallyGone(const wchar_t* path)
{
    const LockOrder::DiskScope disk;
    if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES)
        return false;
    return MeansNothingThere(GetLastError()) && IsReachable(path);
}

// A new folder brings everything in it along.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/ChangeHandler.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/Privileges.h"
#include "support/SystemPath.h"

#include <shlwapi.h>

#include <atomic>

namespace
{

constexpr int MostRetries = 10;
constexpr DWORD RetryPause = 10; // milliseconds

// A plain flag: two threads that both come first both make the calls, which does no harm.
std::atomic<bool> g_privilegesAsked{false};

void AskForPrivilegesOnce()
{
    if (g_privilegesAsked)
        return;
    EnableThreadPrivilege(L"SeBackupPrivilege");
    EnableThreadPrivilege(L"SeRestorePrivilege");
    g_privilegesAsked = true;
}

FindHandle FindFirst(const CString& pattern, WIN32_FIND_DATAW& data)
{
    for (int retry = 0;; ++retry) {
        FindHandle found(FindFirstFileW(SystemPath(pattern), &data));
        if (found || GetLastError() != ERROR_SHARING_VIOLATION || retry == MostRetries)
            return found;
        Sleep(RetryPause);
    }
}

bool IsDots(const wchar_t* name) { return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0)); }

// Of a path that ends in a backslash the attributes may be those of a link's target.
DWORD OwnAttributes(const CString& path)
{
    const CString folder = WithBackslash(path);
    const bool root = PathIsRootW(folder) != FALSE;
    return GetFileAttributesW(SystemPath(root ? folder : folder.Left(folder.GetLength() - 1)));
}

// A link to a folder is not entered: what it leads to has a path of its own, and links may lead in circles.
bool IsPlainFolder(DWORD attributes)
{
    return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == FILE_ATTRIBUTE_DIRECTORY;
}

} // namespace

// What is not reached is found by the next full enumeration. A folder behind a remembered link is not entered: the link
// may lead to a folder above itself, and what changes where it leads is reported there.
void ChangeHandler::AddDirectoryChildren(const EventPath& folder)
{
    const CString& path = folder.path;
    if (folder.throughLink)
        return;
    AskForPrivilegesOnce();
    const DWORD attributes = OwnAttributes(path);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return ReadEnded(path, GetLastError());
    if (!IsPlainFolder(attributes))
        return;
    WIN32_FIND_DATAW data;
    const FindHandle search = FindFirst(WithBackslash(path) + L'*', data);
    if (!search)
        return ReadEnded(path, GetLastError());
    do {
        if (m.stop.IsSet()) {
            m.due.MakeFull();
            return;
        }
        if (!IsDots(data.cFileName))
            OnFileAdded(WithBackslash(path) + data.cFileName);
    } while (FindNextFileW(search.Get(), &data));
    ReadEnded(path, GetLastError());
}

// A folder need not be selected for what is in it to be: it may have been moved there with all of that.
void ChangeHandler::AddSelectedBelow(const EventPath& folder)
{
    if (!EndsInBackslash(folder.path))
        return;
    bool maySelect = false;
    {
        const ObjectLock lock(m.locks, &m.filter);
        maySelect = m.filter.MaySelectBelow(folder.path);
    }
    if (maySelect)
        AddDirectoryChildren(folder);
}

// A folder that the watcher may not read is none that another look would find more in.
void ChangeHandler::ReadEnded(const CString& path, DWORD error)
{
    if (error == ERROR_NO_MORE_FILES || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
        IsReallyGone(path))
        return;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The folder %s could not be read to its end: %d", path.GetString(),
                      error);
    if (error != ERROR_ACCESS_DENIED)
        m.due.MakeFull();
}

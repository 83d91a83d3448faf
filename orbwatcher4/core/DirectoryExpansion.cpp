// A new folder brings everything in it along.
#include "orbwatcher4/core/ChangeHandler.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Privileges.h"
#include "support/SystemPath.h"

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

} // namespace

// False when the folder could not be read to its end.
bool ChangeHandler::AddDirectoryChildren(const CString& path)
{
    AskForPrivilegesOnce();
    const DWORD attributes = GetFileAttributesW(SystemPath(path));
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    if (!(attributes & FILE_ATTRIBUTE_DIRECTORY) || (attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return true;
    CString folder = path;
    if (folder[folder.GetLength() - 1] != L'\\')
        folder += L'\\';
    WIN32_FIND_DATAW data;
    const FindHandle search = FindFirst(folder + L'*', data);
    if (!search)
        return false;
    do {
        if (m.stop.IsSet()) {
            // What was not reached is found by the next full enumeration.
            m.MakeFullEnumerationDue();
            return false;
        }
        if (!IsDots(data.cFileName))
            OnFileAdded(folder + data.cFileName);
    } while (FindNextFileW(search.Get(), &data));
    return true;
}

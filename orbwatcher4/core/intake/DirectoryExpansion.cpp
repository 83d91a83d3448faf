// Handles everything in a new folder.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/intake/ChangeHandler.h"
#include "support/Backslash.h"
#include "support/Dots.h"
#include "support/Privileges.h"
#include "support/SystemPath.h"

#include <atomic>

namespace
{

constexpr int MostRetries = 10;
constexpr DWORD RetryPause = 10; // milliseconds

// A plain flag is enough: if two threads both make the calls, it does no harm.
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

// Returns false for a link to a folder. Its target has a path of its own, and links may form circles.
bool IsPlainFolder(DWORD attributes)
{
    return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == FILE_ATTRIBUTE_DIRECTORY;
}

} // namespace

// Handles the contents of a folder. If it fails, a full enumeration becomes due. A folder behind a remembered link is
// not entered: the link may lead to a folder above itself, and changes at its target are reported there.
void ChangeHandler::AddDirectoryChildren(const EventPath& folder)
{
    const CString& path = folder.path;
    // When a folder has taken the place of a file since, an event of its own comes.
    if (folder.throughLink || folder.facts.AreOfFile())
        return;
    AskForPrivilegesOnce();
    const DWORD attributes = OwnAttributes(path);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return ReadEnded(path, GetLastError());
    if (!IsPlainFolder(attributes))
        return;
    ListedFolder list;
    list.Enter(path);
    WIN32_FIND_DATAW data;
    const FindHandle search = FindFirst(WithBackslash(path) + L'*', data);
    if (!search)
        return ReadEnded(path, GetLastError());
    do {
        if (m.stop.IsSet()) {
            m.due.MakeFull();
            return;
        }
        // The list's attributes save the questions for those of each item, as long as they count.
        const FileFacts listed = FileFacts::Listed(data.dwFileAttributes, list);
        const auto add = [&] {
            ProcessChangedFile(WithBackslash(path) + data.cFileName, Arrival::Event,
                               list.IsRecent() ? std::optional(listed) : std::nullopt);
        };
        if (!IsDots(data.cFileName) && !Completes(L"Taking a change in", add))
            m.due.MakeFull();
    } while (FindNextFileW(search.Get(), &data));
    ReadEnded(path, GetLastError());
}

// Handles selected files below a folder that is not selected itself. It may have been moved with all of them.
void ChangeHandler::AddSelectedBelow(const EventPath& folder)
{
    if (!EndsInBackslash(folder.path))
        return;
    bool maySelect = false;
    {
        const CSingleLock lock(m.selection.primaryLock);
        maySelect = m.selection.primary.MaySelectBelow(folder.path);
    }
    if (maySelect)
        AddDirectoryChildren(folder);
}

// Makes nothing due for a folder that the watcher may not read: another attempt would not find more.
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

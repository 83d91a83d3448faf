// Small operations of the watcher on pending files and paths.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/Hashes.h"
#include "support/Impersonation.h"
#include "support/Wildcard.h"
#include "support/WithoutThreadToken.h"

#include <shlwapi.h>

namespace
{

bool MatchesExtensionList(const wchar_t* path, const CString& patterns)
{
    return !IsDirectory(path) && MatchAnyWildcard(patterns.View(), PathFindFileNameW(path));
}

bool Holds(const KeySet& set, std::wstring_view text) { return set.find(PathHash64(text)) != set.end(); }

} // namespace

bool COrbWatcher::AddSingleNotification(const wchar_t* path)
{
    const ActingForUser user(m->userToken);
    const auto add = [&] { m->changeHandler.ProcessChangedFile(path, false, false); };
    if (!user.Acts() || !Completes(L"Adding a file", add))
        m->due.MakeFull();
    return true;
}

void COrbWatcher::LookAgainAfterRecording(const std::vector<CString>& paths)
{
    const ActingForUser user(m->userToken);
    const auto look = [&] {
        for (const CString& path : paths)
            if (m->IsGone(WithoutBackslash(path)))
                m->changeHandler.OnFileRemoved(WithoutBackslash(path));
    };
    if (!user.Acts() || !Completes(L"Looking again at recorded files", look))
        m->due.MakeFull();
}

void COrbWatcher::ClearNotifications()
{
    Completes(L"ClearNotifications", [this] {
        const CSingleLock lock(m->storeLock);
        m->store.Clear();
    });
}

int COrbWatcher::UsesBlockLevel(const wchar_t* path, unsigned __int64)
{
    return !m->blockLevelExt.IsEmpty() && MatchesExtensionList(path, m->blockLevelExt);
}

int COrbWatcher::IsOnlineInstantRunAllowed(const wchar_t* path)
{
    bool allowed = false;
    Completes(L"IsOnlineInstantRunAllowed", [&] {
        allowed = path && *path && !m->instantRunExt.IsEmpty() && MatchesExtensionList(path, m->instantRunExt);
    });
    return allowed;
}

void COrbWatcher::SignalInstantRunEvent()
{
    bool signalled = false;
    // The handle stays open: the event then outlives its maker, and no wake-up is lost. One handle serves all files.
    Completes(L"SignalInstantRunEvent", [&] {
        const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_ONLINE_INSTANT_RUN");
        const CSingleLock lock(m->instantRunSection);
        if (!m->instantRunEvent) {
            const WithoutThreadToken asProcess; // the event may be closed to the user
            m->instantRunEvent.Reset(OpenEventW(EVENT_ALL_ACCESS, FALSE, name));
        }
        signalled = m->instantRunEvent && SetEvent(m->instantRunEvent.Get());
    });
    constexpr int InstantRunLine = 2698;
    if (!signalled)
        g_OrbLog.WriteLog(2, L"OrbWatcher", InstantRunLine, L"Failed to open Instant run event");
}

bool COrbWatcher::IsIgnoredDedupPath(const wchar_t* path)
{
    const CString lower = CString(path).MakeLower();
    const std::wstring_view text = lower.View();
    if (Holds(m->ignoredNames, PathFindFileNameW(lower)))
        return true;
    const std::size_t dot = text.rfind(L'.');
    if (dot != std::wstring_view::npos && Holds(m->ignoredExtensions, text.substr(dot + 1)))
        return true;
    // Visits each folder on the path after the second backslash, and the whole path.
    const auto nextSlash = [&](std::size_t after) {
        return after == std::wstring_view::npos ? after : text.find(L'\\', after + 1);
    };
    for (std::size_t slash = nextSlash(nextSlash(text.find(L'\\'))); slash != std::wstring_view::npos;
         slash = nextSlash(slash))
        if (Holds(m->ignoredFolders, text.substr(0, slash)))
            return true;
    return Holds(m->ignoredFolders, text);
}

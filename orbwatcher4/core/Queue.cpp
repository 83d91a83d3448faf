// Small operations of the watcher on pending files and paths.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
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

} // namespace

bool COrbWatcher::AddSingleNotification(const wchar_t* path)
{
    const ActingForUser user(m->config.userToken);
    const auto add = [&] { m->changeHandler.ProcessChangedFile(path, false, false); };
    if (!user.Acts() || !Completes(L"Adding a file", add))
        m->due.MakeFull();
    return true;
}

void COrbWatcher::LookAgainAfterRecording(const std::vector<CString>& paths)
{
    const ActingForUser user(m->config.userToken);
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
    return !m->config.blockLevelNames.IsEmpty() && MatchesExtensionList(path, m->config.blockLevelNames);
}

int COrbWatcher::IsOnlineInstantRunAllowed(const wchar_t* path)
{
    bool allowed = false;
    Completes(L"IsOnlineInstantRunAllowed", [&] {
        allowed = path && *path && !m->config.instantRunNames.IsEmpty() &&
                  MatchesExtensionList(path, m->config.instantRunNames);
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

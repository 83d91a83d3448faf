#include "orbwatcher4/core/intake/InstantRun.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/NamePatterns.h"
#include "support/WithoutThreadToken.h"

bool InstantRun::IsWantedFor(const wchar_t* path) const noexcept
{
    bool wanted = false;
    Completes(L"IsOnlineInstantRunAllowed",
              [&] { wanted = path && *path && MatchesNamePatterns(path, m_config.instantRunNames); });
    return wanted;
}

void InstantRun::Signal() noexcept
{
    bool signalled = false;
    // The handle stays open: the event then outlives its maker, and no wake-up is lost. One handle serves all files.
    Completes(L"SignalInstantRunEvent", [&] {
        const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_ONLINE_INSTANT_RUN");
        const CSingleLock lock(m_lock);
        if (!m_event) {
            const WithoutThreadToken asProcess; // the event may be closed to the user
            m_event.Reset(OpenEventW(EVENT_ALL_ACCESS, FALSE, name));
        }
        signalled = m_event && SetEvent(m_event.Get());
    });
    constexpr int instantRunLine = 2698;
    if (!signalled)
        g_OrbLog.WriteLog(2, L"OrbWatcher", instantRunLine, L"Failed to open Instant run event");
}

// The runs that the supervisor starts: what was lost, what came back, and what
// is due.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/WatchLoop.h"
#include "orbwatcher4/core/WatcherState.h"

namespace
{

constexpr std::int64_t MinutesBetweenChecks = 30;
constexpr std::int32_t DefaultScanInterval = 24; // hours
constexpr std::int64_t SecondsPerHour = 3600;
constexpr const wchar_t* CompletionKey = L"Backup::FirstTimeRunTime";

// Process-wide: several watchers together check as often as one. Seconds since 1970.
std::atomic<std::int64_t> g_lastCheck{0};

} // namespace

void WatchLoop::ForgetLastCheck() { g_lastCheck = 0; }

// Each root once, however often changes were lost meanwhile.
void WatchLoop::RescanLostRoots()
{
    std::set<CString> roots;
    {
        const CSingleLock lock(m.pendingDrivesLock);
        roots.swap(m.lostRoots);
    }
    if (roots.empty())
        return;
    const CSingleLock lock(m.driveListLock);
    for (const CString& root : roots)
        if (const auto drive = m.drives.find(root); drive != m.drives.end())
            StartSingleDriveRun(root, drive->second);
}

// Until single drives can be enumerated, the whole selection is made due instead.
void WatchLoop::StartSingleDriveRun(const CString&, const DriveGuidInfo&) { m.MakeFullEnumerationDue(); }

// A last check in the future means that the clock was set back.
bool WatchLoop::IsTooEarly() const { return m_now >= g_lastCheck && (m_now - g_lastCheck) / 60 < MinutesBetweenChecks; }

void WatchLoop::CheckFirstTimeRule()
{
    const ObjectLock lock(m.locks, &m.filter);
    if (m_watcher.IsFirstTimeEnumRunning() || IsTooEarly())
        return;
    g_lastCheck = m_now;
    if (!IsFirstTimeRunDue() || m_watcher.IsFirstTimeEnumRunning())
        return;
    g_OrbLog.Log(L"Rescanning selections based on time rule");
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.SetValue(CompletionKey, 0);
    settings.Save();
    m_watcher.StartFirstTimeRun(0);
}

bool WatchLoop::IsFirstTimeRunDue()
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    const std::int32_t completed = settings.GetValue(CompletionKey, 0);
    g_OrbLog.Log(L"First time Complete = %d", completed);
    if (completed != 0) {
        CUserConfigurations& configuration = GetUserConfigurations();
        configuration.Load();
        const std::int32_t interval =
            configuration.GetValue(L"AppConfig::NetworkScanIntervalInHours", DefaultScanInterval);
        if ((m_now - completed) / SecondsPerHour < interval)
            return false;
    }
    // A rescan of what was complete once runs hidden.
    m.firstTimeHidden = completed != 0;
    return true;
}

// The runs that the supervisor starts: what was lost, what came back, and what
// is due.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/WatchLoop.h"
#include "orbwatcher4/core/WatcherState.h"

namespace
{

constexpr std::int64_t MinutesBetweenChecks = 30;
constexpr std::int64_t QuietSecondsAfterLoss = 5;
constexpr std::int32_t DefaultScanInterval = 24; // hours
constexpr std::int64_t SecondsPerHour = 3600;

// Process-wide: several watchers together check as often as one. Seconds since 1970.
std::atomic<std::int64_t> g_lastCheck{0};

} // namespace

void WatchLoop::ForgetLastCheck() { g_lastCheck = 0; }

// Each root once in a quiet time, however often changes were lost: more of them begin the wait anew, and those that
// come while the root is being looked at are looked for when that has ended.
void WatchLoop::RescanLostRoots()
{
    const CSingleLock drives(m.driveListLock);
    std::vector<CString> due;
    {
        const CSingleLock lock(m.pendingDrivesLock);
        for (auto& [root, last] : m.lostRoots) {
            last = std::min(last, m_now); // a clock that was set back starts the wait anew
            if (m_now > last + QuietSecondsAfterLoss && IsPresent(root))
                due.push_back(root);
        }
    }
    for (const CString& root : due)
        RunSingleDrive(root, "lostChanges");
}

// One that is away, or under whose letter another volume is, is looked at when it returns.
bool WatchLoop::IsPresent(const CString& root) const
{
    const auto drive = m.drives.find(root);
    return drive == m.drives.end() || drive->second.volumeMatches;
}

// False when the root is being looked at already; it is looked at again after that.
bool WatchLoop::RunSingleDrive(const CString& root, const char* reason)
{
    LostRoots::node_type lost;
    {
        // Whatever was lost before is found now; what is lost from here on is looked for again.
        const CSingleLock lock(m.pendingDrivesLock);
        lost = m.lostRoots.extract(root);
    }
    bool started = false;
    Completes(L"The start of a run over one drive", [&] { started = m_watcher.StartSingleDriveRun(root); });
    if (!started) {
        LookLater(root, std::move(lost));
        return false;
    }
    if (m.rescanListener)
        m.rescanListener(root, reason);
    return true;
}

void WatchLoop::LookLater(const CString& root, LostRoots::node_type lost)
{
    const auto note = [&] {
        const CSingleLock lock(m.pendingDrivesLock);
        if (lost)
            m.lostRoots.insert(std::move(lost));
        else
            m.lostRoots.try_emplace(root, m_now);
    };
    if (!Completes(L"Noting that a root is to be looked at", note))
        m.MakeFullEnumerationDue();
}

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
    settings.SetValue(FirstTimeRunTimeKey, 0);
    settings.Save();
    m_watcher.StartFirstTimeRun(0);
}

bool WatchLoop::IsFirstTimeRunDue()
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    const std::int32_t completed = settings.GetValue(FirstTimeRunTimeKey, 0);
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

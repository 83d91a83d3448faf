// The enumerations that the watch thread starts: after losses, after returns, and when they are due.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/WatchLoop.h"
#include "orbwatcher4/core/WatcherState.h"

namespace
{

constexpr std::int32_t DefaultScanInterval = 24; // hours
constexpr std::int64_t SecondsPerHour = 3600;

} // namespace

// Rescans each root once in a quiet time, however often changes were lost. Losses during the rescan make another one
// due.
void WatchLoop::RescanDueRoots()
{
    const CSingleLock drives(m.driveListLock);
    for (const CString& root : m.due.ReadyRescans(m_now)) {
        if (!m.drives.contains(root))
            m.due.Take(root); // the rules no longer name it
        else if (const auto rescan = m.due.DueRescan(root); rescan && IsPresent(root))
            RunSingleDrive(root, rescan->reason);
    }
}

// Returns false for an absent drive, for a letter that holds another volume, and for a drive that is being removed.
// They are rescanned on return.
bool WatchLoop::IsPresent(const CString& root) const
{
    m.driveListLock.RequireHeld();
    const auto drive = m.drives.find(root);
    return drive != m.drives.end() && drive->second.volumeMatches && drive->second.removed != 1;
}

// Returns false when no enumeration could begin, usually because one of the same root is running. The rescan stays due.
bool WatchLoop::RunSingleDrive(const CString& root, const char* reason)
{
    DueEnumerations::Rescans::node_type due = m.due.Take(root);
    bool started = false;
    Completes(L"The start of a run over one drive", [&] {
        m_begun.reserve(m_begun.size() + 1); // the announcement must not fail once the enumeration runs
        started = m_watcher.StartSingleDriveRun(root);
    });
    if (started) {
        m_begun.emplace_back(root, reason);
        return true;
    }
    if (!Completes(L"Keeping a rescan due", [&] { m.due.GiveBack(root, std::move(due), reason, m_now); }))
        m.due.MakeFull();
    return false;
}

// Calls the listener with no lock held, because it may call the watcher.
void WatchLoop::Announce()
{
    for (const auto& begun : std::exchange(m_begun, {}))
        if (m.rescanListener)
            Completes(L"The listener of rescans", [&] { m.rescanListener(begun.first, begun.second); });
}

void WatchLoop::CheckFirstTimeRule()
{
    const CSingleLock lock(m.selection.primaryLock);
    if (!m.selectionLoaded || m_watcher.IsFirstTimeEnumRunning() || DueEnumerations::IsCheckTooEarly(m_now))
        return;
    DueEnumerations::NoteCheck(m_now);
    if (!IsFirstTimeRunDue() || m_watcher.IsFirstTimeEnumRunning())
        return;
    g_OrbLog.Log(L"Rescanning selections based on time rule");
    m.due.KeepDueUntilCompleted();
    m_watcher.StartFirstTimeRun(0);
}

bool WatchLoop::IsFirstTimeRunDue()
{
    const std::int64_t completed = m.due.FullCompletedAt();
    g_OrbLog.Log(L"First time Complete = %d", static_cast<std::int32_t>(completed));
    if (completed != 0) {
        CUserConfigurations& configuration = GetUserConfigurations();
        configuration.Load();
        const std::int32_t interval = configuration.GetValue(ScanIntervalKey, DefaultScanInterval);
        if ((m_now - completed) / SecondsPerHour < interval)
            return false;
    }
    // A rescan of a selection that was once complete runs hidden.
    m.firstTimeHidden = completed != 0;
    return true;
}

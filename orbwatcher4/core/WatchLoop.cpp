#include "orbwatcher4/core/WatchLoop.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/DeletedFiles.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Impersonation.h"

#include <algorithm>

namespace
{

constexpr std::int64_t QuietSeconds = 5;
constexpr std::int64_t LongestPause = 60; // seconds
constexpr DWORD PassInterval = 1000;      // milliseconds
constexpr int ImpersonationLine = 132;

} // namespace

unsigned __stdcall COrbWatcher::_WatchThread(void* watcher)
{
    const COrbFuncLog guard(L"COrbWatcher::_WatchThread");
    const LockOrder::ThreadScope scope(WatchThreadName);
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    auto& self = *static_cast<COrbWatcher*>(watcher);
    if (!Completes(L"The watch thread", [&] { WatchLoop(self, *self.m).Run(); }))
        self.m->due.MakeFull();
    WatchLoop::LeaveDriveUpdates(*self.m);
    return 0;
}

// Runs passes until the watcher stops. The wait for the stop signal is the pause between two passes. The next pass
// makes up for one that failed.
void WatchLoop::Run()
{
    while (!Completes(L"The start of the watch", [this] { Start(); }) && !m.stop.Lock(PassInterval)) {
    }
    for (bool more = true; more && !m.stop.IsSet();) {
        Completes(L"A pass of the watch thread", [&] { more = Pass(); });
        m.stop.Lock(PassInterval);
    }
    End();
}

unsigned __stdcall COrbWatcher::_ProcessDeletedFiles(void* watcher)
{
    const LockOrder::ThreadScope scope(DeletedFilesThreadName);
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    auto& self = *static_cast<COrbWatcher*>(watcher);
    const CSingleLock lock(self.m->deletedFilesLock);
    self.ImmediateProcessDeletedFiles();
    return 0;
}

WatchLoop::WatchLoop(COrbWatcher& watcher, WatcherState& state) : m_watcher(watcher), m(state) {}

bool WatchLoop::Retry::IsDue(std::int64_t now) const
{
    // No pause is longer than the longest one. A later time means that the clock was set back.
    return at <= now || at > now + LongestPause;
}

void WatchLoop::Retry::NoteAttempt(std::int64_t now)
{
    at = now + pause;
    pause = std::min(pause * 2, LongestPause);
}

void WatchLoop::Start()
{
    m_now = m.clock->Seconds();
    Impersonate();
    {
        const CSingleLock lock(m.selection.primaryLock);
        m.selection.primary.SetNotificationStore(&m.PendingCounters());
    }
    LoadDriveList();
    Completes(L"Taking over rescans", [this] { TakeOverRescans(); });
    Completes(L"Looking for exports that wait", [this] {
        m.exportsWait = DeletedFiles::HasDueExports(m);
        if (m.exportsWait)
            m.deletionsWait = true;
    });
    WatchSelectedDrives();
    m.ready.SetEvent();
}

void WatchLoop::Impersonate()
{
    if (ImpersonateUser(m.userToken))
        return;
    const DWORD error = GetLastError();
    g_OrbLog.WriteLog(2, L"OrbWatcher", ImpersonationLine, L"Failed to impersonate user");
    g_OrbLog.Log(L"Last error: %d", error);
}

void WatchLoop::LoadDriveList()
{
    const CSingleLock drives(m.driveListLock);
    m.drives = ReadDriveList();
}

// Reads the volumes anew: the rules know them as they were when the rules were loaded.
DriveList WatchLoop::ReadDriveList() const
{
    DriveList drives;
    {
        const CSingleLock lock(m.selection.primaryLock);
        drives = m.selection.primary.GenerateDriveList();
    }
    for (auto& [root, drive] : drives)
        drive.volumeMatches = IsReachable(RootOf(root)) && !IsOtherVolume(root, drive);
    return drives;
}

void WatchLoop::TakeOverRescans()
{
    std::set<CString> roots;
    {
        const CSingleLock drives(m.driveListLock);
        for (const auto& [root, drive] : m.drives)
            roots.insert(root);
    }
    m.due.TakeOver(roots, m.selectionLoaded ? DueEnumerations::Roots::AreAll : DueEnumerations::Roots::MayBeMore,
                   m_now);
}

void WatchLoop::WatchSelectedDrives()
{
    const CSingleLock lock(m.driveListLock);
    for (const auto& [root, drive] : m.drives) {
        if (m.stop.IsSet())
            break;
        if (drive.volumeMatches)
            Watch(root);
    }
    NoteWatchedRoots();
}

bool WatchLoop::Pass()
{
    m_now = m.clock->Seconds();
    LoadMissingSelection();
    WatchNewRoots();
    ProcessDeletions();
    const bool signalled = IsSignalled(m.deletedFilesEvent.Get());
    if (m.deletionsRequested.exchange(false) || signalled)
        RequestDeletions();
    if (m.stop.IsSet())
        return false;
    RemoveDrives();
    FollowDrives();
    RescanDueRoots();
    Announce();
    CheckFirstTimeRule();
    return true;
}

void WatchLoop::End()
{
    NoteUnwatchedRoots();
    m_engine.UnwatchAllDirectories();
    m_attempts.clear();
    {
        const CSingleLock lock(m.driveListLock);
        NoteWatchedRoots();
    }
    HandOverRescans();
    LeaveDriveUpdates(m);
}

void WatchLoop::LeaveDriveUpdates(WatcherState& state)
{
    state.watchThreadRuns = false;
    state.driveUpdated.SetEvent();
    SetEvent(state.driveUpdateEvent.Get());
}

// Makes up for changes on roots that should be watched and are not, because no later pass begins their watches.
void WatchLoop::NoteUnwatchedRoots()
{
    const auto isWatched = [&](const CString& root) {
        return root.IsEmpty() || m_engine.IsWatchingDirectory(RootOf(root));
    };
    const CSingleLock drives(m.driveListLock);
    bool all = std::all_of(m_attempts.begin(), m_attempts.end(),
                           [&](const auto& attempt) { return isWatched(attempt.first) || !IsPresent(attempt.first); });
    {
        const CSingleLock lock(m.pendingDrivesLock);
        all = all && std::all_of(m.driveChanges.begin(), m.driveChanges.end(), isWatched);
    }
    if (!all)
        m.due.MakeFull();
}

// No later pass begins these rescans. The run that sees a drive return rescans it.
void WatchLoop::HandOverRescans()
{
    bool handedOver = false;
    Completes(L"Handing rescans over to the next start", [&] {
        const CSingleLock drives(m.driveListLock);
        handedOver = m.due.HandOver([this](const CString& root) { return !IsPresent(root); });
    });
    if (!handedOver)
        m.due.MakeFull();
}

// Without loaded rules nothing is watched, and nothing that is due counts as done.
void WatchLoop::LoadMissingSelection()
{
    if (m.selectionLoaded || m.dataXmlPath.IsEmpty() || !m_loading.IsDue(m_now))
        return;
    m_loading.NoteAttempt(m_now);
    m_watcher.LoadSelection();
    if (!m.selectionLoaded)
        return;
    m_watcher.FillPluginTable();
    m_watcher.ReplayWaitingDump();
}

// Watches the drives that new rules name. The roots are copied, because starting a watch waits, which is not allowed
// with the filter's lock or that of the pending drives held.
void WatchLoop::WatchNewRoots()
{
    if (!m.drivesChanged)
        return;
    const CSingleLock drives(m.driveListLock);
    // Roots that the rules no longer name are removed, too. Later changes are for the next pass.
    m.drivesChanged = false;
    if (!Completes(L"Reading the drives", [this] { RegenerateDrives(); })) {
        m.drivesChanged = true;
        return;
    }
    std::set<CString> roots;
    {
        const CSingleLock pending(m.pendingDrivesLock);
        roots.swap(m.driveChanges);
    }
    while (!roots.empty()) {
        auto root = roots.extract(roots.begin());
        if (Completes(L"Watching a new root", [&] { WatchNewRoot(root.value()); }))
            continue;
        const CSingleLock pending(m.pendingDrivesLock); // for the next pass
        m.driveChanges.insert(std::move(root));
        m.drivesChanged = true;
    }
    NoteWatchedRoots();
}

void WatchLoop::WatchNewRoot(const CString& root)
{
    if (root.IsEmpty() || m_engine.IsWatchingDirectory(RootOf(root)))
        return;
    // The files that the new rules select were queued when the rules were added, but changes since then were not
    // reported. A drive that is away or holds another volume is watched when its own volume returns.
    if (IsPresent(root) && Watch(root))
        RunSingleDrive(root, DueEnumerations::NewDrive);
}

// Keeps the knowledge about a root as long as the rules expect the same volume there.
void WatchLoop::RegenerateDrives()
{
    m.driveListLock.RequireHeld();
    DriveList fresh = ReadDriveList();
    for (auto& [root, drive] : fresh) {
        const auto known = m.drives.find(root);
        if (known == m.drives.end())
            continue;
        drive.removed = known->second.removed;
        // The pass that checks the drive notices its return.
        if (drive.serial == known->second.serial)
            drive.volumeMatches = known->second.volumeMatches;
    }
    m.drives = std::move(fresh);
    m.volumes.Follow(m.drives);
}

bool WatchLoop::WorkerRuns() const { return m.deletedFilesThread && !IsSignalled(m.deletedFilesThread.Get()); }

void WatchLoop::RequestDeletions()
{
    if (m_deletionRequest <= 0)
        m_firstRequest = m_now;
    m_deletionRequest = m_now;
}

// Every request delays the processing, but not for long. Otherwise a process that sets the event again and again, or
// deletes files without end, could delay it for ever.
bool WatchLoop::AreDeletionsQuiet() const
{
    return m_now > m_deletionRequest + QuietSeconds || m_now >= m_firstRequest + LongestPause;
}

// Processes after more than five quiet seconds, or a minute after the first request.
void WatchLoop::ProcessDeletions()
{
    // After the clock was set back, the wait starts again.
    m_deletionRequest = std::min(m_deletionRequest, m_now);
    m_firstRequest = std::min(m_firstRequest, m_now);
    if (m_deletionRequest <= 0) {
        ProcessWaitingDeletions();
        return;
    }
    if (!AreDeletionsQuiet())
        return;
    if (WorkerRuns()) {
        m_deletionRequest = m_now;
        return;
    }
    m.deletedFilesThread = StartWatcherThread(&COrbWatcher::_ProcessDeletedFiles, &m_watcher);
    m_deletionRequest = 0;
    if (!m.deletedFilesThread)
        RequestDeletions();
    if (!m.deletedFilesThread)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Deletions wait, no thread can be started: %d", GetLastError());
}

// Tries again after the index was locked or its cache was not loaded: no later event requests these deletions.
void WatchLoop::ProcessWaitingDeletions()
{
    if (WorkerRuns())
        return;
    if (!m.deletionsWait)
        m_settling = {};
    else if (m_settling.IsDue(m_now)) {
        m_settling.NoteAttempt(m_now);
        RequestDeletions();
    }
}

// Another watcher may have set the event, which only tells the caller of UpdateDrive that the drive is released. So
// this watcher has a flag of its own.
void WatchLoop::RemoveDrives()
{
    {
        const CSingleLock lock(m.driveListLock);
        for (const auto& [root, drive] : m.drives)
            if (drive.removed == 1 && m_engine.IsWatchingDirectory(RootOf(root)))
                Unwatch(root);
        UnwatchStrays();
        NoteWatchedRoots();
        m.driveUpdated.SetEvent();
    }
    SetEvent(m.driveUpdateEvent.Get());
}

// Ends watches on roots that a reload has dropped, or whose rules moved to another letter.
void WatchLoop::UnwatchStrays()
{
    m.driveListLock.RequireHeld();
    std::vector<CString> strays;
    for (const auto& [root, attempts] : m_attempts)
        if (!m.drives.contains(root))
            strays.push_back(root);
    for (const CString& root : strays) {
        Unwatch(root);
        m_attempts.erase(root);
    }
}

void WatchLoop::FollowDrives()
{
    const CSingleLock lock(m.driveListLock);
    for (auto& [root, drive] : m.drives) {
        if (m.stop.IsSet())
            break;
        FollowDrive(root, drive);
    }
    NoteWatchedRoots();
}

void WatchLoop::FollowDrive(const CString& root, DriveGuidInfo& drive)
{
    if (GetFileAttributesW(RootOf(root)) == INVALID_FILE_ATTRIBUTES) {
        DriveLost(root, drive);
        return;
    }
    // The drive is being removed. It is watched again when it returns.
    if (drive.removed == 1)
        return;
    const bool watched = m_engine.IsWatchingDirectory(RootOf(root));
    if (drive.volumeMatches && watched)
        return;
    if (IsOtherVolume(root, drive)) {
        drive.volumeMatches = false;
        if (watched)
            Unwatch(root);
        return;
    }
    if (drive.volumeMatches) {
        WatchAgain(root);
        return;
    }
    drive.volumeMatches = true;
    if (!root.IsEmpty() && !watched)
        Watch(root);
    // Begun after the watch, which reports changes behind the enumeration.
    RunSingleDrive(root, DueEnumerations::DriveReturned);
}

void WatchLoop::DriveLost(const CString& root, DriveGuidInfo& drive)
{
    drive.removed = 0;
    if (!drive.volumeMatches)
        return;
    drive.volumeMatches = false;
    Unwatch(root);
    m_attempts.erase(root);
}

bool WatchLoop::IsOtherVolume(const CString& root, const DriveGuidInfo& drive) const
{
    if (drive.serial == 0)
        return false;
    DWORD serial = 0;
    wchar_t name[MAX_PATH];
    if (!GetVolumeInformationW(RootOf(root), name, MAX_PATH, &serial, nullptr, nullptr, nullptr, 0))
        return true;
    return static_cast<std::int32_t>(serial) != drive.serial;
}

bool WatchLoop::Watch(const CString& root)
{
    Attempts& attempts = m_attempts[root];
    attempts.retry.NoteAttempt(m_now);
    const DWORD error = m_engine.WatchDirectory(RootOf(root), &m.changeHandler);
    attempts.began = error == ERROR_SUCCESS ? m_now : 0;
    if (error != ERROR_SUCCESS)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The root %s cannot be watched (error %d); it is tried again",
                          root.GetString(), error);
    return error == ERROR_SUCCESS;
}

// Watches a root again whose watch could not be started, or has ended with an error.
void WatchLoop::WatchAgain(const CString& root)
{
    Attempts& attempts = m_attempts[root];
    // A watch that lasted long has nothing to do with earlier failures.
    if (attempts.began != 0 && m_now >= attempts.began + LongestPause)
        attempts.retry = {};
    attempts.began = 0;
    if (attempts.retry.IsDue(m_now) && Watch(root))
        RunSingleDrive(root, DueEnumerations::WatchedAgain);
}

void WatchLoop::Unwatch(const CString& root)
{
    if (!root.IsEmpty())
        m_engine.UnwatchDirectory(RootOf(root).GetString());
}

void WatchLoop::NoteWatchedRoots()
{
    m.driveListLock.RequireHeld();
    m.watchedRoots.clear();
    for (const auto& [root, drive] : m.drives)
        if (m_engine.IsWatchingDirectory(RootOf(root)))
            m.watchedRoots.push_back(root);
}

#include "orbwatcher4/core/drives/WatchLoop.h"

#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/intake/LoadedSelection.h"
#include "orbwatcher4/core/selection/PluginTable.h"

#include <algorithm>
#include <utility>

namespace
{

using State = Drive::State;

constexpr DWORD PassInterval = 1000; // milliseconds

// Returns true when the root holds another volume than the rules expect.
bool IsOtherVolume(const CString& root, std::int32_t expected)
{
    if (expected == 0)
        return false;
    DWORD serial = 0;
    wchar_t name[MAX_PATH];
    if (!GetVolumeInformationW(RootOf(root), name, MAX_PATH, &serial, nullptr, nullptr, nullptr, 0))
        return true;
    return static_cast<std::int32_t>(serial) != expected;
}

} // namespace

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

void WatchLoop::Start()
{
    m_now = m.config.clock->Seconds();
    ActingForUser::UntilTheThreadEnds(m.config.userToken);
    m.selection.CountWith(&m.pending.Counters());
    LoadDriveList();
    Completes(L"Taking over rescans", [this] { TakeOverRescans(); });
    m.deletions.Begin();
    WatchSelectedDrives();
    m_ready.SetEvent();
}

void WatchLoop::LoadDriveList()
{
    const CSingleLock drives(m.drives.lock);
    m.drives.list = ReadDriveList();
}

// Reads the volumes anew: the rules know them as they were when the rules were loaded.
decltype(Drives::list) WatchLoop::ReadDriveList() const
{
    decltype(Drives::list) drives;
    for (const auto& [root, known] : m.selection.Drives()) {
        const bool present = IsReachable(RootOf(root)) && !IsOtherVolume(root, known.serial);
        drives[root] = {known.serial, present ? State::Present : State::Away};
    }
    return drives;
}

void WatchLoop::TakeOverRescans()
{
    std::set<CString> roots;
    {
        const CSingleLock drives(m.drives.lock);
        for (const auto& [root, drive] : m.drives.list)
            roots.insert(root);
    }
    m.due.TakeOver(roots, m.selection.loaded ? DueEnumerations::Roots::AreAll : DueEnumerations::Roots::MayBeMore,
                   m_now);
}

void WatchLoop::WatchSelectedDrives()
{
    const CSingleLock lock(m.drives.lock);
    for (const auto& [root, drive] : m.drives.list) {
        if (m.stop.IsSet())
            break;
        if (drive.state == State::Present)
            m_watches.Begin(root, m_now);
    }
    NoteWatchedRoots();
}

bool WatchLoop::Pass()
{
    m_now = m.config.clock->Seconds();
    LoadMissingSelection();
    WatchNewRoots();
    m.deletions.Pass(m_now);
    if (m.stop.IsSet())
        return false;
    RemoveDrives();
    FollowDrives();
    m_rescans.StartReady(m_now);
    m_rescans.Announce();
    m_rescans.StartFullByTime(m_now);
    return true;
}

void WatchLoop::End()
{
    NoteUnwatchedRoots();
    m_watches.ForgetAll();
    {
        const CSingleLock lock(m.drives.lock);
        NoteWatchedRoots();
    }
    HandOverRescans();
    m.drives.NoteEnd();
}

// Makes up for changes on roots that should be watched and are not, because no later pass begins their watches.
void WatchLoop::NoteUnwatchedRoots()
{
    const auto isWatched = [&](const CString& root) { return root.IsEmpty() || m_watches.IsWatched(root); };
    const CSingleLock drives(m.drives.lock);
    const std::vector<CString> tried = m_watches.Tried();
    const bool all = std::all_of(tried.begin(), tried.end(),
                                 [&](const CString& root) { return isWatched(root) || !m.drives.IsPresent(root); });
    if (!all || !m.selection.requestedRoots.AllOf(isWatched))
        m.due.MakeFull();
}

// No later pass begins these rescans. The run that sees a drive return rescans it.
void WatchLoop::HandOverRescans()
{
    bool handedOver = false;
    Completes(L"Handing rescans over to the next start", [&] {
        const CSingleLock drives(m.drives.lock);
        handedOver = m.due.HandOver([this](const CString& root) { return !m.drives.IsPresent(root); });
    });
    if (!handedOver)
        m.due.MakeFull();
}

// Without loaded rules nothing is watched, and nothing that is due counts as done.
void WatchLoop::LoadMissingSelection()
{
    if (m.selection.loaded || m.config.files.data.IsEmpty() || !m_loading.IsDue(m_now))
        return;
    m_loading.NoteAttempt(m_now);
    Completes(L"Loading the selection", [this] {
        m.selection.Load(m.overlay.ForFilter());
        m.selection.RequestItsRoots();
    });
    if (!m.selection.loaded)
        return;
    NoticeLoadedSelection(m.due, m.selection);
    Completes(L"FillPluginTable", [this] { FillPluginTable(m.config); });
    m.replay.StartWaiting();
}

// Watches the drives that new rules name. The roots are copied, because starting a watch waits, which is not allowed
// with the filter's lock or that of the requested roots held.
void WatchLoop::WatchNewRoots()
{
    RequestedRoots& requested = m.selection.requestedRoots;
    if (!requested.AreThereAny())
        return;
    const CSingleLock drives(m.drives.lock);
    std::set<CString> roots = requested.Take();
    // Roots that the rules no longer name are removed, too.
    const bool known = Completes(L"Reading the drives", [this] { RegenerateDrives(); });
    if (!known)
        requested.GiveBack({});
    while (!roots.empty()) {
        auto root = roots.extract(roots.begin());
        if (!known || !Completes(L"Watching a new root", [&] { WatchNewRoot(root.value()); }))
            requested.GiveBack(std::move(root)); // for the next pass
    }
    NoteWatchedRoots();
}

void WatchLoop::WatchNewRoot(const CString& root)
{
    if (root.IsEmpty() || m_watches.IsWatched(root))
        return;
    // The files that the new rules select were queued when the rules were added, but changes since then were not
    // reported. A drive that is away or holds another volume is watched when its own volume returns.
    if (m.drives.IsPresent(root) && m_watches.Begin(root, m_now))
        m_rescans.Start(root, DueRescans::NewDrive, m_now);
}

// Keeps the knowledge about a root as long as the rules expect the same volume there.
void WatchLoop::RegenerateDrives()
{
    m.drives.lock.RequireHeld();
    auto fresh = ReadDriveList();
    for (auto& [root, drive] : fresh) {
        const auto known = m.drives.list.find(root);
        if (known == m.drives.list.end())
            continue;
        // The pass that checks the drive notices its return.
        if (drive.serial == known->second.serial || known->second.state == State::BeingRemoved)
            drive.state = known->second.state;
    }
    m.drives.list = std::move(fresh);
    m.selection.volumes.Follow(m.drives.list);
}

void WatchLoop::RemoveDrives()
{
    const CSingleLock lock(m.drives.lock);
    for (const auto& [root, drive] : m.drives.list)
        if (drive.state == State::BeingRemoved && m_watches.IsWatched(root))
            m_watches.End(root);
    UnwatchStrays();
    NoteWatchedRoots();
    m.drives.NoteReleased();
}

// Ends watches on roots that a reload has dropped, or whose rules moved to another letter.
void WatchLoop::UnwatchStrays()
{
    m.drives.lock.RequireHeld();
    for (const CString& root : m_watches.Tried())
        if (!m.drives.list.contains(root))
            m_watches.Forget(root);
}

void WatchLoop::FollowDrives()
{
    const CSingleLock lock(m.drives.lock);
    for (auto& [root, drive] : m.drives.list) {
        if (m.stop.IsSet())
            break;
        FollowDrive(root, drive);
    }
    NoteWatchedRoots();
}

void WatchLoop::FollowDrive(const CString& root, Drive& drive)
{
    if (GetFileAttributesW(RootOf(root)) == INVALID_FILE_ATTRIBUTES) {
        DriveLost(root, drive);
        return;
    }
    // The drive is being removed. It is watched again when it returns.
    if (drive.state == State::BeingRemoved)
        return;
    const bool watched = m_watches.IsWatched(root);
    if (drive.state == State::Present && watched)
        return;
    if (IsOtherVolume(root, drive.serial)) {
        drive.state = State::Away;
        if (watched)
            m_watches.End(root);
        return;
    }
    if (drive.state == State::Present) {
        if (m_watches.BeginAgain(root, m_now))
            m_rescans.Start(root, DueRescans::WatchedAgain, m_now);
        return;
    }
    drive.state = State::Present;
    if (!root.IsEmpty() && !watched)
        m_watches.Begin(root, m_now);
    // Begun after the watch, which reports changes behind the enumeration.
    m_rescans.Start(root, DueRescans::DriveReturned, m_now);
}

void WatchLoop::DriveLost(const CString& root, Drive& drive)
{
    if (std::exchange(drive.state, State::Away) != State::Away)
        m_watches.Forget(root);
}

void WatchLoop::NoteWatchedRoots()
{
    m.drives.lock.RequireHeld();
    m.drives.watchedRoots.clear();
    for (const auto& [root, drive] : m.drives.list)
        if (m_watches.IsWatched(root))
            m.drives.watchedRoots.push_back(root);
}

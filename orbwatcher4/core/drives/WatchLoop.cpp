#include "orbwatcher4/core/drives/WatchLoop.h"

#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/intake/LoadedSelection.h"
#include "orbwatcher4/core/selection/PluginTable.h"
#include "support/VolumeSerial.h"

#include <algorithm>
#include <utility>

namespace
{

using State = Drive::State;

constexpr DWORD PassInterval = 1000; // milliseconds

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
    while (!ReadDrives(Drives::States::AreRead) && !m.stop.IsSet()) {
    }
    Completes(L"Taking over rescans", [this] { TakeOverRescans(); });
    m.deletions.Begin();
    WatchSelectedDrives();
    m_ready.SetEvent();
}

// Reads the volumes anew: the rules know them as they were when the rules were loaded. Returns false when the service
// has moved a drive meanwhile.
bool WatchLoop::ReadDrives(Drives::States states)
{
    const std::uint64_t reading = m.drives.BeginReading();
    Drives::List drives;
    for (const auto& [root, known] : m.selection.Drives()) {
        const bool present = IsReachable(RootOf(root)) && HoldsVolume(RootOf(root), known.serial);
        drives[root] = {known.serial, present ? State::Present : State::Away};
    }
    return m.drives.Replace(std::move(drives), states, reading);
}

void WatchLoop::TakeOverRescans()
{
    std::set<CString> roots;
    for (const auto& [root, drive] : m.drives.All())
        roots.insert(root);
    m.due.TakeOver(roots, m.selection.loaded ? DueEnumerations::Roots::AreAll : DueEnumerations::Roots::MayBeMore,
                   m_now);
}

void WatchLoop::WatchSelectedDrives()
{
    for (const auto& [root, drive] : m.drives.All()) {
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
    m.replay.StartWaiting(); // whoever has read the selection
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
    NoteWatchedRoots();
    HandOverRescans();
    m.drives.NoteEnd();
}

// Makes up for changes on roots that should be watched and are not, because no later pass begins their watches.
void WatchLoop::NoteUnwatchedRoots()
{
    const auto isWatched = [&](const CString& root) { return root.IsEmpty() || m_watches.IsWatched(root); };
    const std::vector<CString> tried = m_watches.Tried();
    const bool all = std::all_of(tried.begin(), tried.end(),
                                 [&](const CString& root) { return isWatched(root) || !IsPresent(root); });
    if (!all || !m.selection.requestedRoots.AllOf(isWatched))
        m.due.MakeFull();
}

// No later pass begins these rescans. The run that sees a drive return rescans it.
void WatchLoop::HandOverRescans()
{
    bool handedOver = false;
    Completes(L"Handing rescans over to the next start", [&] {
        const Drives::List drives = m.drives.All(); // their lock comes before that of the rescans
        handedOver = m.due.HandOver([&](const CString& root) {
            const auto drive = drives.find(root);
            return drive == drives.end() || drive->second.state != State::Present;
        });
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
    const CSingleLock oneLoadAtATime(m.selection.filesLock);
    Completes(L"Loading the selection", [this] {
        m.selection.Load(m.overlay.ForFilter());
        m.selection.RequestItsRoots();
    });
    if (!m.selection.loaded)
        return;
    NoticeLoadedSelection(m.due, m.selection);
    Completes(L"FillPluginTable", [this] { FillPluginTable(m.config); });
}

// Watches the drives that new rules name.
void WatchLoop::WatchNewRoots()
{
    RequestedRoots& requested = m.selection.requestedRoots;
    if (!requested.AreThereAny())
        return;
    std::set<CString> roots = requested.Take();
    // Roots that the rules no longer name are removed, too.
    bool known = false;
    Completes(L"Reading the drives", [&] { known = ReadDrives(Drives::States::AreKept); });
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
    if (IsPresent(root) && m_watches.Begin(root, m_now))
        m_rescans.Start(root, DueRescans::NewDrive, m_now);
}

void WatchLoop::RemoveDrives()
{
    do {
        for (const auto& [root, drive] : m.drives.All())
            if (drive.state == State::BeingRemoved && m_watches.IsWatched(root))
                m_watches.End(root);
        UnwatchStrays();
        NoteWatchedRoots();
    } while (!m.drives.NoteReleased([this](const CString& root) { return m_watches.IsWatched(root); }));
}

// Ends watches on roots that a reload has dropped, or whose rules moved to another letter.
void WatchLoop::UnwatchStrays()
{
    for (const CString& root : m_watches.Tried())
        if (!m.drives.StateOf(root))
            m_watches.Forget(root);
}

void WatchLoop::FollowDrives()
{
    for (const auto& [root, drive] : m.drives.All()) {
        if (m.stop.IsSet())
            break;
        FollowDrive(root, drive);
    }
    NoteWatchedRoots();
}

// If the service moves or removes the drive meanwhile, the next pass follows it.
void WatchLoop::FollowDrive(const CString& root, const Drive& drive)
{
    if (GetFileAttributesW(RootOf(root)) == INVALID_FILE_ATTRIBUTES) {
        if (drive.state != State::Away && m.drives.Change(root, drive.state, State::Away))
            m_watches.Forget(root);
        return;
    }
    // The drive is being removed. It is watched again when it returns.
    if (drive.state == State::BeingRemoved)
        return;
    const bool watched = m_watches.IsWatched(root);
    if (drive.state == State::Present && watched)
        return;
    if (!HoldsVolume(RootOf(root), drive.serial)) {
        if (m.drives.Change(root, drive.state, State::Away) && watched)
            m_watches.End(root);
        return;
    }
    if (!m.drives.Change(root, drive.state, State::Present))
        return;
    if (drive.state == State::Present) {
        if (m_watches.BeginAgain(root, m_now))
            m_rescans.Start(root, DueRescans::WatchedAgain, m_now);
        return;
    }
    if (!root.IsEmpty() && !watched)
        m_watches.Begin(root, m_now);
    // Begun after the watch, which reports changes behind the enumeration.
    m_rescans.Start(root, DueRescans::DriveReturned, m_now);
}

void WatchLoop::NoteWatchedRoots()
{
    m.drives.NoteWatched([this](const CString& root) { return m_watches.IsWatched(root); });
}

bool WatchLoop::IsPresent(const CString& root) const { return m.drives.StateOf(root) == State::Present; }

// The work of the watch thread: decides which drives are watched, when deletions are processed, and when an enumeration
// begins.
//
// One thread uses an object: Start, then Pass once a second until it returns false, then End. Nothing waits here except
// the start and stop of watches in the engine. No lock is held then, or when the disk is asked, or a listener called.
#pragma once

#include "mfc/CEvent.h"
#include "orbwatcher4/core/deletions/Deletions.h"
#include "orbwatcher4/core/drives/RescanStarter.h"
#include "orbwatcher4/core/drives/RootWatches.h"
#include "orbwatcher4/core/intake/Replay.h"

// The parts that the watch thread supervises. All of them outlive it.
struct WatchParts {
    const Config& config;
    CSignal& stop;
    DueEnumerations& due;
    Selection& selection;
    OverlayStatuses& overlay;
    PendingStore& pending;
    ChangeHandler& handler;
    Replay& replay;
    Deletions& deletions;
    Enumerator& enumerator;
    Drives& drives;
};

class WatchLoop
{
public:
    // ready: set when every drive of the selection has been tried.
    WatchLoop(const WatchParts& parts, CEvent& ready, const RescanListener& listener)
        : m(parts),
          m_ready(ready),
          m_watches(parts.handler),
          m_rescans(parts.due, parts.selection, parts.enumerator, parts.drives, listener)
    {
    }

    void Start();
    // Makes one pass. Returns false when the watcher is to stop.
    bool Pass();
    void End();
    // Makes all passes, as the thread does.
    void Run();

private:
    friend class WatcherAccess; // tests

    bool ReadDrives(Drives::States states);
    void TakeOverRescans();
    void WatchSelectedDrives();
    void LoadMissingSelection();
    void WatchNewRoots();
    void WatchNewRoot(const CString& root);
    void RemoveDrives();
    void UnwatchStrays();
    void FollowDrives();
    void FollowDrive(const CString& root, const Drive& drive);
    void NoteUnwatchedRoots();
    void HandOverRescans();
    void NoteWatchedRoots();
    bool IsPresent(const CString& root) const;

    const WatchParts m;
    CEvent& m_ready;
    RootWatches m_watches;
    RescanStarter m_rescans;
    std::int64_t m_now = 0;
    Retry m_loading; // for a selection that could not be read
};

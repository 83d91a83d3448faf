// The watcher's supervisor: which drives are watched, when deletions are
// processed, when everything is enumerated again.
//
// One thread owns it: Start, then Pass once a second until it says stop, then
// End. Nothing in here waits, apart from the engine's own start and stop, which
// happen with no lock held but the drive list's.
#pragma once

#include "directory_changes/DirectoryChanges.h"
#include "orbwatcher4/OrbFilter.h"

#include <map>

class COrbWatcher;
struct WatcherState;

class WatchLoop
{
public:
    WatchLoop(COrbWatcher& watcher, WatcherState& state);

    void Start();
    // One pass; false when the watcher is to stop.
    bool Pass();
    void End();
    // All of it, as the thread does.
    void Run();
    // No loop looks after drives any more: whoever waits for that goes on.
    static void LeaveDriveUpdates(WatcherState& state);

    // The process-wide time of the last first-time check goes back to the beginning.
    static void ForgetLastCheck();

private:
    friend class WatcherAccess; // tests

    struct Retry {
        std::int64_t at = 0;
        std::int64_t pause = 1; // seconds; doubled up to a minute
    };

    using LostRoots = std::map<CString, std::int64_t>;

    void Impersonate();
    void LoadDriveList();
    void WatchSelectedDrives();
    void WatchNewRoots();
    void WatchNewRoot(const CString& root);
    void RegenerateDrives();
    void ProcessDeletions();
    bool WorkerRuns() const;
    void RemoveDrives();
    void FollowDrives();
    void FollowDrive(const CString& root, DriveGuidInfo& drive);
    void DriveLost(const CString& root, DriveGuidInfo& drive);
    bool IsPresent(const CString& root) const;
    bool IsOtherVolume(const CString& root, const DriveGuidInfo& drive) const;
    bool RunSingleDrive(const CString& root, const char* reason);
    void LookLater(const CString& root, LostRoots::node_type lost);
    void RescanLostRoots();
    void NoteUnwatchedRoots();
    void NoteUnscannedRoots();
    void CheckFirstTimeRule();
    bool IsTooEarly() const;
    bool IsFirstTimeRunDue();
    bool Watch(const CString& root);
    void WatchAgain(const CString& root);
    void Unwatch(const CString& root);
    void NoteWatchedRoots();

    COrbWatcher& m_watcher;
    WatcherState& m;
    CDirectoryChangeWatcher m_engine;
    std::int64_t m_deletionRequest = 0; // seconds since 1970; 0: none
    std::int64_t m_now = 0;
    std::map<CString, Retry> m_retries; // roots that could not be watched
};

// The work of the watch thread: decides which drives are watched, when deletions are processed, and when an enumeration
// begins.
//
// One thread uses an object: Start, then Pass once a second until it returns false, then End. Nothing waits here except
// the start and stop of watches in the engine, which happen with no lock held but that of the drive list. Listeners are
// called with no lock held.
#pragma once

#include "directory_changes/DirectoryChanges.h"
#include "orbwatcher4/OrbFilter.h"

#include <map>
#include <set>
#include <utility>
#include <vector>

class COrbWatcher;
struct WatcherState;

class WatchLoop
{
public:
    WatchLoop(COrbWatcher& watcher, WatcherState& state);

    void Start();
    // Makes one pass. Returns false when the watcher is to stop.
    bool Pass();
    void End();
    // Makes all passes, as the thread does.
    void Run();
    // Releases all callers that wait until a drive is released: no watch thread will do it.
    static void LeaveDriveUpdates(WatcherState& state);

private:
    friend class WatcherAccess; // tests

    // The time of the next attempt of an operation that has failed.
    struct Retry {
        std::int64_t at = 0;    // seconds since 1970
        std::int64_t pause = 1; // seconds until the attempt after the next one; doubled up to a minute

        bool IsDue(std::int64_t now) const;
        void NoteAttempt(std::int64_t now);
    };
    // The state of a root that the loop has tried to watch.
    struct Attempts {
        Retry retry;
        std::int64_t began = 0; // time when its watch began; 0: it could not be started, or has ended
    };

    void Impersonate();
    void LoadDriveList();
    DriveList ReadDriveList() const;
    void TakeOverRescans();
    void WatchSelectedDrives();
    void LoadMissingSelection();
    void WatchNewRoots();
    void WatchNewRoot(const CString& root);
    void RegenerateDrives();
    void RequestDeletions();
    void ProcessDeletions();
    bool AreDeletionsQuiet() const;
    void ProcessWaitingDeletions();
    bool WorkerRuns() const;
    void RemoveDrives();
    void UnwatchStrays();
    void FollowDrives();
    void FollowDrive(const CString& root, DriveGuidInfo& drive);
    void DriveLost(const CString& root, DriveGuidInfo& drive);
    bool IsPresent(const CString& root) const;
    bool IsOtherVolume(const CString& root, const DriveGuidInfo& drive) const;
    bool RunSingleDrive(const CString& root, const char* reason);
    void RescanDueRoots();
    void Announce();
    void NoteUnwatchedRoots();
    void HandOverRescans();
    void CheckFirstTimeRule();
    bool IsFirstTimeRunDue();
    bool Watch(const CString& root);
    void WatchAgain(const CString& root);
    void Unwatch(const CString& root);
    void NoteWatchedRoots();

    COrbWatcher& m_watcher;
    WatcherState& m;
    CDirectoryChangeWatcher m_engine;
    std::int64_t m_deletionRequest = 0; // the last request; seconds since 1970; 0: none
    std::int64_t m_firstRequest = 0;    // the first request since deletions were processed
    std::int64_t m_now = 0;
    std::map<CString, Attempts> m_attempts;               // by root
    Retry m_loading;                                      // for a selection that could not be read
    Retry m_settling;                                     // for deletions that the index could not take
    std::vector<std::pair<CString, const char*>> m_begun; // rescans that the listener has not been told of
};

// The parts and the state of a COrbWatcher.
//
// The configuration is constant while watching. Each lock stands beside the data that it guards. Locks are taken in the
// order of LockRank.
#pragma once

#include "OrbFileMonitorService/OverlayCache.h"
#include "companions/online/OnlineCallbackHandler.h"
#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/core/ChangeHandler.h"
#include "orbwatcher4/core/DueEnumerations.h"
#include "orbwatcher4/core/EnumerationTally.h"
#include "orbwatcher4/core/GivenInRun.h"
#include "orbwatcher4/core/NotificationStore.h"
#include "orbwatcher4/core/OwnFiles.h"
#include "orbwatcher4/core/RecordedVolumes.h"
#include "orbwatcher4/core/Selection.h"
#include "orbwatcher4/core/Signal.h"
#include "orbwatcher4/core/SkippedPaths.h"
#include "orbwatcher4/core/WaitingFindings.h"
#include "support/Clock.h"
#include "support/FileWriter.h"
#include "support/Handle.h"
#include "support/HashMemory.h"
#include "support/Impersonation.h"

#include <sparsehash/dense_hash_set>

#include <atomic>

using KeySet = google::dense_hash_set<std::uint64_t, std::hash<std::uint64_t>, std::equal_to<std::uint64_t>,
                                      HashMemory<std::uint64_t>>;

// The state of the enumerations.
struct FirstTimeState {
    RankedSection lock{LockRank::FirstTime, L"first-time state", ShortWaitSpins};
    std::atomic<int> running{0};
    std::atomic<int> succeeded{0};
    bool stopping ORB_GUARDED_BY(lock) = false; // true: no enumeration begins any more
    KernelHandle thread ORB_GUARDED_BY(lock);   // of the enumeration of all drives
    std::map<CString, KernelHandle> singleDriveRuns ORB_GUARDED_BY(lock);
    std::atomic<int> singleDriveRunsGoing{0};
};

struct WatcherState {
    WatcherState(COrbWatcher& watcher, bool useDrDeleteMap);
    ~WatcherState();
    WatcherState(const WatcherState&) = delete;
    WatcherState& operator=(const WatcherState&) = delete;

    Selection selection;
    RankedSection storeLock{LockRank::Store, L"store", ShortWaitSpins};
    NotificationStore store ORB_GUARDED_BY(storeLock);
    RankedSection handOutLock{LockRank::HandOut, L"hand-out"};
    GivenInRun givenInRun ORB_GUARDED_BY(handOutLock);
    CString completionEvent; // name of an event that is set at the end of a full enumeration
    std::shared_ptr<OnlineCallbackHandler> online;
    KeySet ignoredNames, ignoredExtensions, ignoredFolders;
    OverlayCache overlayCache;
    ChangeHandler changeHandler;

    CString dataXmlPath, secondaryXmlPath, dataXmlPath2, secondaryXmlPath2, advancedFiltersPath;
    CString queueDB, indexDB, blockLevelExt, instantRunExt;
    CString destBackupFolderDB ORB_GUARDED_BY(selection.primaryLock);
    OwnFiles ownFiles;
    HANDLE userToken = nullptr; // not owned
    bool backupHiddenFiles = false;
    DWORD backupFrequency = 0;
    std::atomic<DWORD> enumThrottleMs{3};
    std::atomic<int> firstTimeHidden{0};
    bool overlay = false;
    const bool useDrDeleteMap;

    CSignal watching;
    CSignal stop; // all long loops check it
    CEvent ready{false, true};
    std::atomic<int> initialized{0};
    std::atomic<bool> pendingKept{true}; // the last dump was complete
    std::atomic<int> enableFirstTime{0};
    FirstTimeState firstTime;
    EnumerationTally enumeration;
    SkippedPathsList skipped;
    WaitingFindings findings;

    // All watchers on the machine share these named events, so a signal may be meant for another one.
    KernelHandle deletedFilesEvent;
    KernelHandle driveUpdateEvent;
    // This watcher has requested it; another one may have consumed the event.
    std::atomic<bool> deletionsRequested{false};
    // Some deletions could not be settled, and a later processing may settle them.
    std::atomic<bool> deletionsWait{false};
    std::atomic<bool> exportsWait{false}; // jobs of deletions could not be exported

    RankedSection lifecycle{LockRank::Lifecycle, L"lifecycle"};
    KernelHandle watchThread ORB_GUARDED_BY(lifecycle), overlayThread ORB_GUARDED_BY(lifecycle);
    std::atomic<bool> watchThreadRuns{false};

    std::function<void(const DeletionRecord&)> deletionListener;     // constant while watching
    std::function<void(const CString&, const char*)> rescanListener; // constant while watching
    CEvent driveUpdated{true, true}; // set when this watcher has looked for removed drives

    // A removal was aborted, so entries may be pending that are no longer selected.
    std::atomic<bool> removalCutShort{false};
    RankedSection instantRunSection{LockRank::Leaf, L"instant run"};
    KernelHandle instantRunEvent ORB_GUARDED_BY(instantRunSection); // open after the first success

    RankedSection deletedFilesLock{LockRank::DeletedFiles, L"deleted files"};
    KernelHandle deletedFilesThread; // only the watch thread uses it

    RankedSection driveListLock{LockRank::DriveList, L"drive list"};
    DriveList drives ORB_GUARDED_BY(driveListLock);
    std::vector<CString> watchedRoots ORB_GUARDED_BY(driveListLock);

    RankedSection pendingDrivesLock{LockRank::PendingDrives, L"pending drives"};
    std::set<CString> driveChanges ORB_GUARDED_BY(pendingDrivesLock); // roots to be watched
    std::atomic<bool> drivesChanged{false};                           // set and cleared inside pendingDrivesLock

    RecordedVolumes volumes;
    DueEnumerations due;
    // A complete selection was loaded; before that, no path is judged by rules. Stays true until DeInit, because a
    // failed reload keeps the loaded rules.
    std::atomic<bool> selectionLoaded{false};
    std::atomic<bool> dumpWaits{false}; // Resume has kept it until a selection can be read

    const Clock* clock = &SystemClock();
    FileWriter* writer;

    // Any thread, with or without the lock of the store.
    std::int64_t PendingCount() const ORB_UNCHECKED_LOCKS { return store.LiveCount(); }
    const ItemCounters& PendingCounters() const ORB_UNCHECKED_LOCKS { return store.Counters(); }
    // Returns the selection and the index to which the data folder must belong.
    FolderUse Use() const { return {dataXmlPath, indexDB}; }
    // Returns the files that decide which paths are selected.
    std::vector<CString> SelectionFiles() const { return {dataXmlPath, dataXmlPath2, advancedFiltersPath}; }
    // Returns the folder that deletions are exported to, which may be set at any time.
    CString DestinationFolder();
    // Returns the folders that are kept out because backups go there, each with a backslash at its end.
    std::set<CString> Destinations();
    // Compares the selection and the destinations with those of the last run. `content`: see SelectionNote::Of.
    void NoticeSelection(const CString& content);
    // Returns true for a path that the product keeps out of every selection.
    bool IsKeptOut(const CString& path);
    // Returns true when the path does not exist, although its drive is present with the recorded volume.
    bool IsGone(const CString& path) const;
};

// Makes the calling thread act for the user until the end of the scope. A null token stands for the process itself; the
// thread then keeps its rights.
//
// If the system refuses the token, the operation must end, because the service could see and write more than the user
// may. The part that it leaves out is due.
class ActingForUser
{
public:
    explicit ActingForUser(HANDLE token) : m_acts(ImpersonateUser(token))
    {
        if (!m_acts)
            TellRefusal();
    }

    bool Acts() const { return m_acts; }

private:
    static void TellRefusal();

    const CallerTokenScope m_caller;
    const bool m_acts;
};

// Starts a thread of the watcher. Returns null when the system refuses.
KernelHandle StartWatcherThread(unsigned(__stdcall* entry)(void*), void* argument);
// Waits for a thread without limit and closes it; `name` is the thread's name in the log.
void JoinWatcherThread(KernelHandle& thread, const wchar_t* name);
// Creates a named event that every process on the machine may use.
KernelHandle CreateSharedEvent(const wchar_t* name, bool manualReset, bool initiallySet);

extern const wchar_t* const DeletedFilesEventName;
extern const wchar_t* const DriveUpdateEventName;

constexpr const wchar_t* WatchThreadName = L"watch thread";
constexpr const wchar_t* OverlayThreadName = L"overlay thread";
constexpr const wchar_t* FirstRunThreadName = L"first-run thread";
constexpr const wchar_t* DeletedFilesThreadName = L"deleted-files thread";

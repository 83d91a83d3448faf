// What a COrbWatcher consists of.
//
// Configuration is constant while watching. The filters, the store and the
// first-time state are guarded by `locks` under their own addresses; the other
// locks say what they guard. Locks are taken in the order of LockRank.
#pragma once

#include "OrbFileMonitorService/OverlayCache.h"
#include "companions/online/OnlineCallbackHandler.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/core/ChangeHandler.h"
#include "orbwatcher4/core/DueEnumerations.h"
#include "orbwatcher4/core/EnumerationTally.h"
#include "orbwatcher4/core/GivenInRun.h"
#include "orbwatcher4/core/NotificationStore.h"
#include "orbwatcher4/core/ObjectLockTable.h"
#include "orbwatcher4/core/OwnFiles.h"
#include "orbwatcher4/core/RecordedVolumes.h"
#include "orbwatcher4/core/Signal.h"
#include "support/Clock.h"
#include "support/FileWriter.h"
#include "support/Handle.h"
#include "support/HashMemory.h"
#include "support/Impersonation.h"

#include <sparsehash/dense_hash_set>

#include <atomic>

using KeySet = google::dense_hash_set<std::uint64_t, std::hash<std::uint64_t>, std::equal_to<std::uint64_t>,
                                      HashMemory<std::uint64_t>>;

// The enumerations; guarded by its own address in the lock table.
struct FirstTimeState {
    std::atomic<int> running{0};
    std::atomic<int> succeeded{0};
    bool stopping = false; // no run begins any more
    KernelHandle thread;   // of the run over all drives
    std::map<CString, KernelHandle> singleDriveRuns;
    std::atomic<int> singleDriveRunsGoing{0};
};

struct WatcherState {
    WatcherState(COrbWatcher& watcher, bool useDrDeleteMap);
    ~WatcherState();
    WatcherState(const WatcherState&) = delete;
    WatcherState& operator=(const WatcherState&) = delete;

    OrbFilter filter;
    OrbFilter secondaryFilter;
    ObjectLockTable locks;
    NotificationStore store;
    GivenInRun givenInRun;   // guarded by handOutLock
    CString completionEvent; // named event, set at the end of a first-time run
    std::shared_ptr<OnlineCallbackHandler> online;
    KeySet ignoredNames, ignoredExtensions, ignoredFolders;
    OverlayCache overlayCache;
    ChangeHandler changeHandler;

    CString dataXmlPath, secondaryXmlPath, dataXmlPath2, secondaryXmlPath2, advancedFiltersPath;
    CString queueDB, indexDB, destBackupFolderDB, blockLevelExt, instantRunExt;
    OwnFiles ownFiles;
    HANDLE userToken = nullptr; // not owned
    bool backupHiddenFiles = false;
    DWORD backupFrequency = 0;
    std::atomic<DWORD> enumThrottleMs{3};
    std::atomic<int> firstTimeHidden{0};
    bool overlay = false;
    const bool useDrDeleteMap;

    CSignal watching;
    CSignal stop; // polled by every long loop
    CEvent ready{false, true};
    std::atomic<int> initialized{0};
    std::atomic<bool> pendingKept{true}; // by the last dump
    std::atomic<int> enableFirstTime{0};
    FirstTimeState firstTime;
    EnumerationTally enumeration;

    // Named, and so shared with every watcher on the machine: a signal need not be meant for this one.
    KernelHandle deletedFilesEvent;
    KernelHandle driveUpdateEvent;
    std::atomic<bool> deletionsRequested{false}; // by this watcher; another may have taken the signal
    std::atomic<bool> deletionsWait{false};      // the last processing left some that a later one may settle
    std::atomic<bool> exportsWait{false};        // jobs of deletions could not be exported

    RankedSection lifecycle{LockRank::Lifecycle, L"lifecycle"};
    KernelHandle watchThread, overlayThread; // guarded by lifecycle
    std::atomic<bool> watchThreadRuns{false};

    std::function<void(const DeletionRecord&)> deletionListener;     // constant while watching
    std::function<void(const CString&, const char*)> rescanListener; // constant while watching
    CEvent driveUpdated{true, true};                                 // this watcher has looked for removed drives

    // A removal was told to end before its end: what it left out may not be selected any more.
    std::atomic<bool> removalCutShort{false};
    RankedSection instantRunSection{LockRank::Leaf, L"instant run"};
    KernelHandle instantRunEvent; // once it could be opened; guarded by instantRunSection

    RankedSection handOutLock{LockRank::HandOut, L"hand-out"};

    RankedSection deletedFilesLock{LockRank::DeletedFiles, L"deleted files"};
    KernelHandle deletedFilesThread; // the watch thread's own

    RankedSection driveListLock{LockRank::DriveList, L"drive list"};
    DriveList drives;                  // guarded by driveListLock
    std::vector<CString> watchedRoots; // guarded by driveListLock

    RankedSection pendingDrivesLock{LockRank::PendingDrives, L"pending drives"};
    std::set<CString> driveChanges;         // roots to be watched; guarded by pendingDrivesLock
    std::atomic<bool> drivesChanged{false}; // set and cleared inside pendingDrivesLock

    RecordedVolumes volumes;
    DueEnumerations due;
    // A selection was read, whole; nothing is judged by rules before. Once true it stays so until DeInit: a reload
    // that fails leaves the rules that are held.
    std::atomic<bool> selectionLoaded{false};
    std::atomic<bool> dumpWaits{false}; // Resume has left it for a selection that can be read

    const Clock* clock = &SystemClock();
    FileWriter* writer;

    // What the data folder must belong to.
    FolderUse Use() const { return {dataXmlPath, indexDB}; }
    // The path is not there although its drive is, and the drive holds the volume that it should.
    bool IsGone(const CString& path) const;
};

// The calling thread acts for the user, until it gets back the token that it came
// with. A null token stands for the process itself: then the thread keeps the rights that it has.
//
// When the system refuses the token, the user's files must not be looked at: what the service may see and write, the
// user may not. The operation ends then, and what it leaves out is due.
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

// Starts a thread of the watcher; null when the system refuses.
KernelHandle StartWatcherThread(unsigned(__stdcall* entry)(void*), void* argument);
// Waits for a thread without limit and closes it; `name` as the thread calls itself.
void JoinWatcherThread(KernelHandle& thread, const wchar_t* name);
// A named event that anybody on the machine may use.
KernelHandle CreateSharedEvent(const wchar_t* name, bool manualReset, bool initiallySet);

extern const wchar_t* const DeletedFilesEventName;
extern const wchar_t* const DriveUpdateEventName;

constexpr const wchar_t* WatchThreadName = L"watch thread";
constexpr const wchar_t* OverlayThreadName = L"overlay thread";
constexpr const wchar_t* FirstRunThreadName = L"first-run thread";
constexpr const wchar_t* DeletedFilesThreadName = L"deleted-files thread";

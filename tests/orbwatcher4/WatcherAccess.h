// Access to the parts of a watcher, for tests.
#pragma once

#include "directory_changes/DirWatchInfo.h"
#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/core/WatcherParts.h"

class EngineAccess
{
public:
    // The key of the only record; a watch that is started anew has another one.
    static ULONG_PTR OnlyKey(const CDirectoryChangeWatcher& engine)
    {
        return engine.m_records.size() == 1 && engine.m_records[0] ? engine.m_records[0]->Key() : 0;
    }
};

class WatcherAccess
{
public:
    static WatcherParts& Parts(COrbWatcher& watcher) { return *watcher.m; }
    static ChangeHandler& Handler(COrbWatcher& watcher) { return Parts(watcher).intake.handler; }

    // --- The watch thread. ---

    // A loop whose passes a test makes itself.
    static WatchLoop Loop(COrbWatcher& watcher)
    {
        Supervisor& supervisor = Parts(watcher).supervisor;
        return WatchLoop(supervisor.m, supervisor.m_ready, supervisor.m_listener);
    }
    // As when the watch has ended with an error.
    static void EndWatch(WatchLoop& loop, const wchar_t* root) { loop.m_watches.m_engine.UnwatchDirectory(root); }
    static ULONG_PTR OnlyWatchKey(const WatchLoop& loop) { return EngineAccess::OnlyKey(loop.m_watches.m_engine); }
    static bool IsWatching(const WatchLoop& loop, const wchar_t* root) { return loop.m_watches.IsWatched(root); }
    // The event of the machine that tells of a released drive.
    static HANDLE ReleasedEvent(COrbWatcher& watcher) { return Parts(watcher).drives.m_sharedReleased.Get(); }

    // --- Pending changes. ---

    // The store without its lock, where no other thread uses it.
    static RankedSection& DriveLock(COrbWatcher& watcher) { return Parts(watcher).drives.m_lock; }
    static Drives::List& DriveListOf(COrbWatcher& watcher) { return Parts(watcher).drives.m_list; }
    static NotificationStore& Store(COrbWatcher& watcher) { return *PendingStore::Locked(Parts(watcher).pending); }

    // --- Deletions. ---

    static HANDLE DeletionsEvent(COrbWatcher& watcher) { return Parts(watcher).pending.deletionRequests.m_event.Get(); }
    static KernelHandle& DeletionsThread(COrbWatcher& watcher) { return Parts(watcher).deletions.m_thread; }
    static void ForgetUnsettledDeletions(COrbWatcher& watcher) { Parts(watcher).deletions.m_left.unsettled = false; }

    // --- Enumerations. ---

    static bool IsFullDueAgain(COrbWatcher& watcher) { return Parts(watcher).due.m_fullDueAgain; }
    static void SetRunning(COrbWatcher& watcher, bool running) { Parts(watcher).enumerator.m_running = running; }
    static int Hidden(COrbWatcher& watcher) { return Parts(watcher).enumerator.m_hidden; }
    static DWORD Pause(COrbWatcher& watcher) { return Parts(watcher).enumerator.Found().m_pause; }
    // The thread of the enumeration of one root.
    static KernelHandle& RootThread(COrbWatcher& watcher, const wchar_t* root) ORB_UNCHECKED_LOCKS
    {
        return Parts(watcher).enumerator.m_rootThreads[root];
    }

    // --- Threads and locks. ---

    static KernelHandle& OverlayThread(COrbWatcher& watcher) { return Parts(watcher).overlayUpdater.m_thread; }
    // Takes each lock of the watcher, in their order, and leaves it again.
    static void VisitLocks(COrbWatcher& watcher)
    {
        WatcherParts& parts = Parts(watcher);
        const CSingleLock lifecycle(parts.lifecycle.lock), handOut(parts.handOut.m_lock),
            deletions(parts.deletions.m_lock);
        const CSingleLock map(CIndexDB::m_csMapDelete), drives(parts.drives.m_lock);
        const CSingleLock primary(parts.selection.primaryLock), secondary(parts.selection.secondaryLock);
        const PendingStore::Locked store(parts.pending);
        const CSingleLock enumerations(parts.enumerator.m_lock), roots(parts.selection.requestedRoots.m_lock);
        const CSingleLock cache(CIndexDB::m_csCache);
    }
};

// The change engine: watches directory trees and tells a handler what changes.
//
// One worker thread per watcher collects the changes; one notifier thread per
// process runs all handler code, one event at a time, in the order of posting.
// A watcher and the handlers' links may be used from any thread. Unwatching
// waits until everything that was posted for the directory has been handled;
// no event comes after it has returned. It may be called from a handler.
#pragma once

#include "mfc/CCriticalSection.h"
#include "mfc/CEvent.h"
#include "mfc/CString.h"
#include "support/RankedSection.h"

#include <windows.h>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class CDirectoryChangeWatcher;
class CDirWatchInfo;
class ChangeIo;
class CompletionKeys;
struct EngineRun;

// Told what happens in the watched trees. Paths are full paths.
//
// Reference-counted: starts at 1, is deleted when the count falls to 0. One that
// lives on a stack or in another object keeps its first count and is never
// deleted by Release.
class CDirectoryChangeHandler
{
public:
    CDirectoryChangeHandler();
    // Ends every watch that still uses the handler.
    virtual ~CDirectoryChangeHandler();
    virtual void OnFileAdded(const wchar_t* path);
    virtual void OnFileRemoved(const wchar_t* path);
    virtual void OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath);
    virtual void OnFileModified(const wchar_t* path);
    // ERROR_NOTIFY_ENUM_DIR: changes below the directory were lost and the watch goes on. Any other error
    // has ended the watch.
    virtual void OnReadChangesError(DWORD error, const wchar_t* directory);
    // error 0: started, the first read is issued.
    virtual void OnWatchStarted(DWORD error, const wchar_t* directory);
    virtual void OnWatchStopped(const wchar_t* directory);
    // Asked before events 1 to 4 are delivered; false drops the event.
    virtual bool OnFilterNotification(DWORD eventCode, const wchar_t* path, const wchar_t* secondPath);

    CDirectoryChangeHandler(const CDirectoryChangeHandler&) = delete;
    CDirectoryChangeHandler& operator=(const CDirectoryChangeHandler&) = delete;

    long AddRef();
    long Release();
    // The directory whose changes were read last.
    CString GetChangedDirectoryName() const;

private:
    friend class CDirectoryChangeWatcher;
    friend class CDirWatchInfo;
    friend class HandlerLinkAccess; // tests

    // Linking takes two steps, as the first one waits: true when it ended watches on another watcher.
    bool EndWatchesElsewhere(CDirectoryChangeWatcher* watcher);
    long LinkWatcher(CDirectoryChangeWatcher* watcher, bool endedElsewhere);
    bool IsLinkedTo(const CDirectoryChangeWatcher* watcher) const;
    void UnlinkWatcher();
    void SetChangedDirectoryName(const CString& name);

    std::atomic<long> m_references{1};
    CString m_changedDirectoryName;               // guarded by m_section
    CDirectoryChangeWatcher* m_watcher = nullptr; // guarded by m_section
    long m_linkCount = 0;                         // directories watched on m_watcher; guarded by m_section
    mutable RankedSection m_section{LockRank::HandlerLink, L"handler link"};
};

class CDirectoryChangeWatcher
{
public:
    // Filter flags: see FilterFlags in DelayedDirectoryChangeHandler.h.
    explicit CDirectoryChangeWatcher(bool appHasGui = false, DWORD filterFlags = 1);
    // For tests that stand in for the system. `io` must outlive the watcher.
    CDirectoryChangeWatcher(ChangeIo& io, bool appHasGui, DWORD filterFlags);
    virtual ~CDirectoryChangeWatcher();
    CDirectoryChangeWatcher(const CDirectoryChangeWatcher&) = delete;
    CDirectoryChangeWatcher& operator=(const CDirectoryChangeWatcher&) = delete;

    // Watches a whole tree; a directory that is watched already is watched anew. Win32 error code, also
    // set as the thread's last error; 0: every change from now on is reported. ERROR_OPERATION_ABORTED:
    // another thread is ending all watches.
    DWORD WatchDirectory(const wchar_t* path, CDirectoryChangeHandler* handler);
    // True when a watch for that path existed. Paths compare as whole texts without regard to case. A null
    // argument names no watch: false, with ERROR_INVALID_PARAMETER as the thread's last error.
    bool UnwatchDirectory(const wchar_t* path);
    bool UnwatchDirectory(CDirectoryChangeHandler* handler);
    bool IsWatchingDirectory(const wchar_t* path) const;
    // Also ends the worker. Always true.
    bool UnwatchAllDirectories();

protected:
    // Called on the worker thread.
    virtual void OnThreadStart();
    virtual void OnThreadExit();

private:
    friend class EngineAccess; // tests

    using Record = std::shared_ptr<CDirWatchInfo>;

    // Held while watches are started or ended: UnwatchAllDirectories waits for it with ending the worker.
    class WorkerUse
    {
    public:
        explicit WorkerUse(CDirectoryChangeWatcher& watcher);
        ~WorkerUse();
        WorkerUse(const WorkerUse&) = delete;
        WorkerUse& operator=(const WorkerUse&) = delete;
        bool AllIsEnding() const { return m_allIsEnding; }

    private:
        CDirectoryChangeWatcher& m_watcher;
        bool m_allIsEnding;
    };

    static unsigned __stdcall MonitorDirectoryChanges(void* run);
    void Monitor(HANDLE port);
    void HandlePacket(const Record& record, bool completed, bool good, DWORD bytes);
    void StartReading(const Record& record);
    void BeginStop(const Record& record);
    void HandleLastRead(const Record& record, bool good, DWORD bytes);
    void FinishStop(const Record& record);
    void TellLost(const Record& record);
    void HandleChanges(const Record& record, bool good, DWORD bytes);
    void UnwatchDirectoryBecauseOfError(const Record& record, DWORD error);

    DWORD JoinRun(const Record& record);
    DWORD EnsureWorker(EngineRun& run); // inside m_section
    DWORD StartMonitoring(const Record& record);
    void Store(const Record& record);
    void LinkHandler(const Record& record, CDirectoryChangeHandler& handler);
    bool TakeOut(const Record& record);
    std::vector<Record> TakeOutAll(const std::function<bool(const CDirWatchInfo&)>& concerned);
    bool EndWatches(const std::function<bool(const CDirWatchInfo&)>& concerned);
    void StopAndDestroy(const Record& record);
    bool AskToStop(const Record& record);
    bool WaitForEnd(const Record& record);
    void Destroy(const Record& record);
    bool HasOtherUsers() const;
    void WaitForOtherUsers();
    bool TakeRun(std::shared_ptr<EngineRun>& run);
    void EndWorker(const EngineRun& run);

    ChangeIo& m_io;
    const bool m_appHasGui;
    const DWORD m_filterFlags;
    const std::unique_ptr<CompletionKeys> m_keys;
    mutable RankedSection m_section{LockRank::EngineArray, L"engine array"};
    std::vector<Record> m_records;    // slots may be null; guarded by m_section
    std::shared_ptr<EngineRun> m_run; // null when nothing was watched yet; guarded by m_section
    std::vector<DWORD> m_users;       // the threads of the WorkerUses; guarded by m_section
    int m_endings = 0;                // UnwatchAllDirectories going on; guarded by m_section
    CEvent m_useEnded{true, true};
};

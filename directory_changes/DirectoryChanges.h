// The change engine: watches directory trees and reports changes to handlers.
//
// Each watcher has one worker thread, which collects changes. The process has one notifier thread, which runs all
// handler code, one event at a time, in the order of posting. While an event waits inside a call of this interface, the
// notifier runs further events within it, of the same handler too.
//
// Calls: from any thread, also from inside an event; not from OnThreadStart and OnThreadExit.
//
// Each UnwatchDirectory, UnwatchAllDirectories and both destructors end watches and wait.
//
// Outside events they wait until every event of the watch has been handled. Nothing of it comes afterwards, whichever
// thread or error has ended the watch. The messages of the calling thread are dispatched meanwhile.
//
// Inside an event they wait until every event that was posted has begun. Events that are in progress (the calling one,
// and those that it interrupts) go on when the call returns. They must not use a handler that was destroyed then.
//
// A caller must not hold a lock that a handler asks for, and must not destroy a handler that a WatchDirectory in
// progress names.
//
// No call throws or needs memory to end a watch.
#pragma once

#include "mfc/CCriticalSection.h"
#include "mfc/CEvent.h"
#include "mfc/CString.h"
#include "support/RankedSection.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <vector>

class CDirectoryChangeWatcher;
class CDirWatchInfo;
class ChangeIo;
class WatchEngine;

// Receives the changes in watched trees. Paths are full paths, valid during the call.
//
// The notifier thread calls the operations. If an operation throws, its event is lost, and OnReadChangesError reports
// lost changes.
//
// Reference-counted: starts at 1 and is deleted when the count falls to 0. The engine holds one reference for each
// watch. A handler that lives on a stack or in another object keeps its first count and is never deleted by Release.
class CDirectoryChangeHandler
{
public:
    CDirectoryChangeHandler();
    // Ends every watch that still uses the handler. Events call the base operations from here on, as the derived parts
    // are gone; a derived class whose events use its members ends its watches in its own destructor.
    virtual ~CDirectoryChangeHandler();
    virtual void OnFileAdded(const wchar_t* path);
    virtual void OnFileRemoved(const wchar_t* path);
    virtual void OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath);
    virtual void OnFileModified(const wchar_t* path);
    // ERROR_NOTIFY_ENUM_DIR: changes below the directory were lost, and the watch goes on. Any other error has ended
    // the watch.
    virtual void OnReadChangesError(DWORD error, const wchar_t* directory);
    // Error 0: the first read is issued.
    virtual void OnWatchStarted(DWORD error, const wchar_t* directory);
    virtual void OnWatchStopped(const wchar_t* directory);
    // Asked before events 1 to 4 (EventCode) are delivered; false drops the event.
    virtual bool OnFilterNotification(DWORD eventCode, const wchar_t* path, const wchar_t* secondPath);

    CDirectoryChangeHandler(const CDirectoryChangeHandler&) = delete;
    CDirectoryChangeHandler& operator=(const CDirectoryChangeHandler&) = delete;

    // Each returns the new count.
    long AddRef();
    long Release();
    // Returns the directory whose changes were read last. Any thread.
    CString GetChangedDirectoryName() const;

private:
    friend class WatchEngine;
    friend class WatchOwner;
    friend class HandlerLinkAccess; // tests

    // A handler belongs to one watcher. Linking takes two steps, as the first one waits. LinkWatcher returns for how
    // many directories the link counts, also when it is a link to another watcher, which stays.
    void EndWatchesElsewhere(const WatchEngine* engine);
    long LinkWatcher(std::shared_ptr<WatchEngine> engine);
    bool IsLinkedTo(const WatchEngine* engine) const;
    // Takes one directory off the count of this watcher's link; the last one ends the link.
    void UnlinkWatcher(const WatchEngine* engine);
    void SetChangedDirectoryName(const CString& name);

    std::atomic<long> m_references{1};
    mutable RankedSection m_section{LockRank::HandlerLink, L"handler link"};
    CString m_changedDirectoryName ORB_GUARDED_BY(m_section);
    std::shared_ptr<WatchEngine> m_engine ORB_GUARDED_BY(m_section); // of the linked watcher
    long m_linkCount ORB_GUARDED_BY(m_section) = 0;                  // directories watched there
};

class CDirectoryChangeWatcher
{
public:
    // Filter flags: see FilterFlags in EventFilter.h. Throws std::bad_alloc and std::system_error.
    explicit CDirectoryChangeWatcher(bool appHasGui = false, DWORD filterFlags = 1);
    // For tests that stand in for the system. The io must outlive the watcher and its watches.
    CDirectoryChangeWatcher(ChangeIo& io, bool appHasGui, DWORD filterFlags);
    // Ends all watches, as UnwatchAllDirectories.
    virtual ~CDirectoryChangeWatcher();
    CDirectoryChangeWatcher(const CDirectoryChangeWatcher&) = delete;
    CDirectoryChangeWatcher& operator=(const CDirectoryChangeWatcher&) = delete;

    // Watches a whole tree. A watch of the same path, also one that another thread begins at the same time, is ended
    // before: one watch remains. A handler's watches with another watcher are ended after.
    //
    // Returns 0 when the watch has begun: every change from now on is reported. Otherwise returns a Win32 error, and
    // there is no watch. The result is also the thread's last error. ERROR_OPERATION_ABORTED: another thread has ended
    // the watch, or all watches, meanwhile. ERROR_NOT_ENOUGH_MEMORY, ERROR_OUTOFMEMORY: there was no memory.
    DWORD WatchDirectory(const wchar_t* path, CDirectoryChangeHandler* handler);
    // Each ends watches and returns true when there were any to end; a watch that another thread was ending counts, and
    // is waited for. Paths compare as whole texts without regard to case. A null argument names no watch: false, with
    // ERROR_INVALID_PARAMETER as the thread's last error.
    bool UnwatchDirectory(const wchar_t* path);
    bool UnwatchDirectory(CDirectoryChangeHandler* handler);
    // Returns true until an unwatch or an error has begun to end the watch.
    bool IsWatchingDirectory(const wchar_t* path) const;
    // Ends all watches and the worker. Watches that are begun meanwhile are refused. Always returns true.
    bool UnwatchAllDirectories();

protected:
    // Called on the worker thread as it starts and as it ends. Must not call the watcher.
    virtual void OnThreadStart();
    virtual void OnThreadExit();

private:
    friend class EngineAccess;      // tests
    friend class HandlerLinkAccess; // tests
    friend class EngineRun;         // the hooks

    const std::shared_ptr<WatchEngine> m_engine;
    const std::vector<std::shared_ptr<CDirWatchInfo>>& m_records; // of the engine; for tests
};

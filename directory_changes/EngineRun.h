// A completion port, its worker, and the completion keys of the watches that the worker serves: from the first watch of
// a watcher until all watches are ended. The watches that hold the run are its users; the run outlives them.
//
// One worker serves all watches of the run. It decodes what the system reports and posts events; it waits for nothing
// but packets and room in the notifier's queue.
#pragma once

#include "directory_changes/CompletionKeys.h"
#include "directory_changes/DirWatchInfo.h"
#include "support/Handle.h"

#include <atomic>
#include <memory>

class EngineRun
{
public:
    // The watcher's hooks are called on the worker. The io and the watcher must outlive the worker.
    EngineRun(ChangeIo& io, CDirectoryChangeWatcher& watcher) : m_io(io), m_watcher(watcher) {}

    // Inside the engine's section. Each returns 0 or the error.
    DWORD Associate(HANDLE directory, ULONG_PTR key);
    DWORD EnsureWorker();

    // Any thread.
    CompletionKeys& Keys() { return m_keys; }
    bool Post(ULONG_PTR key, OVERLAPPED* control);
    // Null as long as no worker could be started.
    HANDLE Worker() const { return m_worker.Get(); }
    // Ends the worker and waits for its end, dispatching messages meanwhile. For callers that know that all watches of
    // the run have ended; several may call at once. Does nothing without a worker.
    void EndWorker();

private:
    using Record = std::shared_ptr<CDirWatchInfo>;

    void PostEnd();
    static unsigned __stdcall MonitorDirectoryChanges(void* run);
    void Monitor();
    void HandlePacket(const Record& record, bool isRead, bool good, DWORD bytes);
    void Perform(const Record& record, const WatchStep& step, bool good, DWORD bytes);
    void StartReading(const Record& record);
    void HandleRead(const Record& record, bool good, DWORD bytes);
    void HandleLastRead(const Record& record, bool good, DWORD bytes);
    void RefuseFurtherReads(const Record& record, DWORD error);

    ChangeIo& m_io;
    CDirectoryChangeWatcher& m_watcher;
    CompletionKeys m_keys;
    KernelHandle m_port, m_worker; // set inside the engine's section
    unsigned m_workerId = 0;
    std::atomic<bool> m_endPosted{false};
};

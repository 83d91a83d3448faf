// The worker: one thread for all directories of a watcher.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/CompletionKeys.h"
#include "directory_changes/DelayedNotificationThread.h"
#include "directory_changes/DirWatchInfo.h"
#include "directory_changes/DirectoryChanges.h"
#include "directory_changes/EngineRun.h"
#include "support/Handle.h"

#include <new>

namespace
{

// A directory whose reads keep failing is given up, so that an error is reported once and not for ever.
constexpr int MostFailedCompletions = 16;

class PriorityScope
{
public:
    explicit PriorityScope(int priority) : m_before(GetThreadPriority(GetCurrentThread()))
    {
        SetThreadPriority(GetCurrentThread(), priority);
    }
    ~PriorityScope() { SetThreadPriority(GetCurrentThread(), m_before); }
    PriorityScope(const PriorityScope&) = delete;
    PriorityScope& operator=(const PriorityScope&) = delete;

private:
    const int m_before;
};

} // namespace

unsigned __stdcall CDirectoryChangeWatcher::MonitorDirectoryChanges(void* run)
{
    const LockOrder::ThreadScope scope(L"engine worker");
    const CDelayedNotificationThread::WorkerScope worker;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    // Whoever ends the worker keeps its run until it has ended.
    const auto& own = *static_cast<const EngineRun*>(run);
    CDirectoryChangeWatcher& self = own.watcher;
    self.OnThreadStart();
    self.Monitor(own.port.Get());
    self.OnThreadExit();
    return 0;
}

void CDirectoryChangeWatcher::Monitor(HANDLE port)
{
    for (;;) {
        DWORD bytes = 0;
        ULONG_PTR key = 0;
        OVERLAPPED* overlapped = nullptr;
        const bool good = m_io.WaitPacket(port, &bytes, &key, &overlapped, INFINITE);
        // A wait that failed without a packet says nothing about any record.
        if (!good && !overlapped && key == 0 && GetLastError() == WAIT_TIMEOUT)
            continue;
        if (key == 0)
            return;
        const Record record = m_keys->Find(key);
        if (!record)
            continue;
        try {
            HandlePacket(record, record->IsRead(overlapped), good, bytes);
        } catch (const std::bad_alloc&) {
            // Nobody knows whether a read is on its way. The other records of this worker go on.
            UnwatchDirectoryBecauseOfError(record, ERROR_OUTOFMEMORY);
        }
    }
}

void CDirectoryChangeWatcher::HandlePacket(const Record& record, bool completed, bool good, DWORD bytes)
{
    const CDirWatchInfo::Visit visit(*record);
    if (completed)
        record->ReadCompleted();
    if (!visit) {
        if (completed)
            m_keys->Remove(record->Key());
        return;
    }
    switch (record->State()) {
    case StateStartMonitoring:
        StartReading(record);
        break;
    case StateStopMonitoring:
        // A read whose packet comes before the stop's is handled as ever, and one more is issued: what the
        // system has gathered meanwhile comes with that.
        if (completed)
            HandleChanges(record, good, bytes);
        else
            BeginStop(record);
        break;
    case StateStopped:
        if (completed) {
            HandleLastRead(record, good, bytes);
            FinishStop(record);
        }
        break;
    case StateRunning:
        if (completed)
            HandleChanges(record, good, bytes);
        break;
    case StateNotSet:
        break;
    }
}

void CDirectoryChangeWatcher::StartReading(const Record& record)
{
    const DWORD error = record->Read();
    record->SetStartResult(error);
    if (error == ERROR_SUCCESS)
        record->MoveOn(StateStartMonitoring, StateRunning);
    record->Handler().OnWatchStarted(error, record->Name());
    record->Started().SetEvent();
}

// The directory is closed, which gives the pending read back; the watch has ended when that has come.
void CDirectoryChangeWatcher::BeginStop(const Record& record)
{
    record->CloseForStop();
    if (!record->ReadPending())
        FinishStop(record);
}

// What the system had put into the read before the directory was closed was delivered, and is told.
void CDirectoryChangeWatcher::HandleLastRead(const Record& record, bool good, DWORD bytes)
{
    const bool lost = good && bytes > 0 ? !record->Process(bytes) : record->LastReadWasLost();
    if (lost)
        TellLost(record);
}

// The system's buffer overflowed, the read failed, or there was no memory to decode it.
void CDirectoryChangeWatcher::TellLost(const Record& record)
{
    record->DropCarried();
    record->Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, record->Name());
}

void CDirectoryChangeWatcher::HandleChanges(const Record& record, bool good, DWORD bytes)
{
    if (good && bytes > 0) {
        record->failedCompletions = 0;
        if (!record->Process(bytes))
            TellLost(record);
    } else {
        record->failedCompletions = good ? 0 : record->failedCompletions + 1;
        TellLost(record);
    }
    const bool hopeless = record->failedCompletions >= MostFailedCompletions;
    if (const DWORD error = hopeless ? DWORD(ERROR_READ_FAULT) : record->Read())
        UnwatchDirectoryBecauseOfError(record, error);
}

void CDirectoryChangeWatcher::UnwatchDirectoryBecauseOfError(const Record& record, DWORD error)
{
    const PriorityScope priority(THREAD_PRIORITY_HIGHEST);
    record->SetStartResult(error);
    record->Handler().OnReadChangesError(error, record->Name());
    // Whoever has taken the record out already waits to be told, and destroys it.
    if (TakeOut(record))
        Destroy(record);
}

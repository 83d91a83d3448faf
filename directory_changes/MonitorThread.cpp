// The worker of a run: takes packets from the port and handles them, one at a time.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/WatchEngine.h"

#include <new>

namespace
{

// A directory whose reads bring nothing but failures and losses is given up: a server that answers every read at once
// without a change would keep the worker from all other watches.
constexpr int MostUselessReads = 16;

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

unsigned __stdcall EngineRun::MonitorDirectoryChanges(void* run)
{
    const LockOrder::ThreadScope scope(L"engine worker");
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    // The thread that ends the worker keeps the run until then.
    auto& own = *static_cast<EngineRun*>(run);
    own.m_watcher.OnThreadStart();
    own.Monitor();
    own.m_watcher.OnThreadExit();
    return 0;
}

void EngineRun::Monitor()
{
    for (;;) {
        DWORD bytes = 0;
        ULONG_PTR key = 0;
        OVERLAPPED* overlapped = nullptr;
        const bool good = m_io.WaitPacket(m_port.Get(), &bytes, &key, &overlapped, INFINITE);
        // A wait that failed without a packet says nothing about any record.
        if (!good && !overlapped && key == 0 && GetLastError() == WAIT_TIMEOUT)
            continue;
        if (key == 0)
            return;
        if (const Record record = m_keys.Find(key))
            HandlePacket(record, record->IsRead(overlapped), good, bytes);
    }
}

void EngineRun::HandlePacket(const Record& record, bool isRead, bool good, DWORD bytes)
{
    WatchStep step = record->BeginLease(isRead ? WatchInput::ReadBack : WatchInput::Packet);
    do {
        try {
            Perform(record, step, good, bytes);
        } catch (const std::bad_alloc&) {
            // A read may be pending or not. The other watches go on.
            RefuseFurtherReads(record, ERROR_OUTOFMEMORY);
        }
    } while (record->EndLease(step));
}

void EngineRun::Perform(const Record& record, const WatchStep& step, bool good, DWORD bytes)
{
    switch (step.task) {
    case WatchTask::FirstRead:
        StartReading(record);
        break;
    case WatchTask::HandleRead:
        HandleRead(record, good, bytes);
        break;
    case WatchTask::HandleLastRead:
        HandleLastRead(record, good, bytes);
        break;
    case WatchTask::FinishStopped:
        WatchEngine::Finish(record, WatchEnding::Stopped, ERROR_SUCCESS);
        break;
    case WatchTask::ForgetKey:
        m_keys.Remove(record->Key());
        break;
    default:
        break;
    }
}

void EngineRun::StartReading(const Record& record)
{
    if (const DWORD error = record->Read()) {
        RefuseFurtherReads(record, error);
        return;
    }
    record->Handler().OnWatchStarted(ERROR_SUCCESS, record->Name());
    record->SetStartResult(ERROR_SUCCESS);
}

void EngineRun::HandleRead(const Record& record, bool good, DWORD bytes)
{
    const bool useful = good && bytes > 0;
    record->uselessReads = useful ? 0 : record->uselessReads + 1;
    if (!useful || !record->Process(bytes))
        record->ReportLoss();
    // A handler whose notifier has ended hears nothing more: IsWatchingDirectory shows that the watch has ended.
    const bool hopeless = record->uselessReads >= MostUselessReads || record->Handler().IsUnheard();
    if (const DWORD error = hopeless ? DWORD(ERROR_READ_FAULT) : record->Read())
        RefuseFurtherReads(record, error);
}

// Changes that the system had put into the read before the directory was closed are reported.
void EngineRun::HandleLastRead(const Record& record, bool good, DWORD bytes)
{
    const bool lost = good && bytes > 0 ? !record->Process(bytes) : record->LastReadWasLost();
    if (lost)
        record->ReportLoss();
    WatchEngine::Finish(record, WatchEnding::Stopped, ERROR_SUCCESS);
}

void EngineRun::RefuseFurtherReads(const Record& record, DWORD error)
{
    const PriorityScope priority(THREAD_PRIORITY_HIGHEST);
    switch (record->Take(WatchInput::ReadRefused).task) {
    case WatchTask::FinishFailed:
        WatchEngine::Finish(record, WatchEnding::Failed, error);
        break;
    case WatchTask::ReportError:
        record->ReportError(error);
        break;
    default:
        break;
    }
}

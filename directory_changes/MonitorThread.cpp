// The worker of a run: takes packets from the port and handles them, one at a time.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/WatchEngine.h"

#include <new>

namespace
{

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
            HandlePacket(record, record->Read().IsOf(overlapped), good, bytes);
    }
}

void EngineRun::HandlePacket(const Record& record, bool isRead, bool good, DWORD bytes)
{
    WatchStep step = record->State().BeginLease(isRead ? WatchInput::ReadBack : WatchInput::Packet);
    do {
        try {
            Perform(record, step, good, bytes);
        } catch (const std::bad_alloc&) {
            // A read may be pending or not. The other watches go on.
            RefuseFurtherReads(record, ERROR_OUTOFMEMORY);
        }
    } while (record->State().EndLease(step));
}

void EngineRun::Perform(const Record& record, const WatchStep& step, bool good, DWORD bytes)
{
    switch (step.task) {
    case WatchTask::FirstRead:
        return StartReading(record);
    case WatchTask::HandleRead:
        return HandleRead(record, good, bytes);
    case WatchTask::HandleLastRead:
        return HandleLastRead(record, good, bytes);
    case WatchTask::FinishStopped:
        return WatchEngine::Finish(record, WatchEnding::Stopped, ERROR_SUCCESS);
    case WatchTask::ForgetKey:
        return m_keys.Remove(record->Key());
    default:
        return;
    }
}

void EngineRun::StartReading(const Record& record)
{
    if (const DWORD error = record->Read().Issue())
        RefuseFurtherReads(record, error);
    else
        record->Reports().ReportStart(ERROR_SUCCESS);
}

void EngineRun::HandleRead(const Record& record, bool good, DWORD bytes)
{
    const bool useful = good && bytes > 0;
    record->Read().NoteUse(useful);
    if (!useful || !record->Reports().ReportChanges(bytes))
        record->Reports().ReportLoss();
    // A handler whose notifier has ended hears nothing more: IsWatchingDirectory shows that the watch has ended.
    const bool hopeless = record->Read().IsHopeless() || record->Handler().HasNotifierEnded();
    if (const DWORD error = hopeless ? DWORD(ERROR_READ_FAULT) : record->Read().Issue())
        RefuseFurtherReads(record, error);
}

// Changes that the system had put into the read before the directory was closed are reported.
void EngineRun::HandleLastRead(const Record& record, bool good, DWORD bytes)
{
    const bool lost = good && bytes > 0 ? !record->Reports().ReportChanges(bytes) : record->Read().LastWasLost();
    if (lost)
        record->Reports().ReportLoss();
    WatchEngine::Finish(record, WatchEnding::Stopped, ERROR_SUCCESS);
}

void EngineRun::RefuseFurtherReads(const Record& record, DWORD error)
{
    const PriorityScope priority(THREAD_PRIORITY_HIGHEST);
    const WatchTask task = record->State().Take(WatchInput::ReadRefused).task;
    if (task == WatchTask::FinishFailed)
        WatchEngine::Finish(record, WatchEnding::Failed, error);
    else if (task == WatchTask::ReportError)
        record->Reports().ReportError(error);
}

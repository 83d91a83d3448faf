// Ending watches, and the worker with the last of them.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/CompletionKeys.h"
#include "directory_changes/DelayedNotificationThread.h"
#include "directory_changes/DirWatchInfo.h"
#include "directory_changes/DirectoryChanges.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/MessagePump.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr DWORD StopWaitSlice = 5000;
constexpr DWORD RefusedPostPause = 10;
// How long a closed directory may take to give its cancelled read back.
constexpr ULONGLONG LastPacketLimit = 10000;
constexpr const wchar_t* WorkerName = L"engine worker";

bool Given(const void* argument)
{
    if (!argument)
        SetLastError(ERROR_INVALID_PARAMETER);
    return argument != nullptr;
}

} // namespace

CDirectoryChangeWatcher::WorkerUse::WorkerUse(CDirectoryChangeWatcher& watcher) : m_watcher(watcher)
{
    const CSingleLock lock(watcher.m_section);
    watcher.m_users.push_back(GetCurrentThreadId());
    m_allIsEnding = watcher.m_endings > 0;
}

CDirectoryChangeWatcher::WorkerUse::~WorkerUse()
{
    const CSingleLock lock(m_watcher.m_section);
    std::vector<DWORD>& users = m_watcher.m_users;
    users.erase(std::find(users.begin(), users.end(), GetCurrentThreadId()));
    m_watcher.m_useEnded.SetEvent();
}

bool CDirectoryChangeWatcher::UnwatchDirectory(const wchar_t* path)
{
    return Given(path) &&
           EndWatches([&](const CDirWatchInfo& record) { return EqualNoCase(record.Name().View(), path); });
}

bool CDirectoryChangeWatcher::UnwatchDirectory(CDirectoryChangeHandler* handler)
{
    return Given(handler) && EndWatches([&](const CDirWatchInfo& record) { return record.RealHandler() == handler; });
}

// The use begins before a record is taken out, so that nobody ends the worker in between.
bool CDirectoryChangeWatcher::EndWatches(const std::function<bool(const CDirWatchInfo&)>& concerned)
{
    const WorkerUse use(*this);
    const std::vector<Record> records = TakeOutAll(concerned);
    for (const Record& record : records)
        StopAndDestroy(record);
    return !records.empty();
}

void CDirectoryChangeWatcher::StopAndDestroy(const Record& record)
{
    // Somebody has to tell the end: the worker, unless it does not come to the record any more.
    if (!AskToStop(record) || !WaitForEnd(record))
        FinishStop(record);
    Destroy(record);
}

// True when the worker will end the watch; false when that is left to the caller.
bool CDirectoryChangeWatcher::AskToStop(const Record& record)
{
    while (!record->AskToStop()) {
        // Without a packet of its own the stop needs that of the pending read, which closing brings.
        switch (record->CloseWithoutWorker()) {
        case ClosedWithoutWorker::ReadComesBack:
            return true;
        case ClosedWithoutWorker::NothingComes:
            return false;
        case ClosedWithoutWorker::NotYet:
            WaitPumping(record->Run().worker.Get(), RefusedPostPause, QS_ALLINPUT);
        }
    }
    return true;
}

// Waits until the worker has told the end. The caller's windows stay alive meanwhile. False when the
// worker, or the record's last packet, does not come any more.
bool CDirectoryChangeWatcher::WaitForEnd(const Record& record)
{
    const LockOrder::WaitScope wait(WorkerName);
    const HANDLE worker = record->Run().worker.Get();
    ULONGLONG closed = 0;
    for (;;) {
        const bool workerEnded = IsSignalled(worker);
        const DWORD slice = workerEnded ? 0 : closed ? 500 : StopWaitSlice;
        if (WaitPumping(record->Stopped(), slice, QS_ALLINPUT))
            return true;
        const ULONGLONG now = GetTickCount64();
        if (record->State() == StateStopped && !closed)
            closed = now;
        // A handler may take its time; the system may not.
        const bool tooLate = closed && now - closed > LastPacketLimit;
        if ((workerEnded || tooLate) && record->TakeFromWorker())
            return false;
    }
}

// For the worker, and for whoever ends the record in its place.
void CDirectoryChangeWatcher::FinishStop(const Record& record)
{
    // What a read holds that was never given back is not known.
    if (record->ReadPending())
        TellLost(record);
    record->DropCarried();
    record->Handler().OnWatchStopped(record->Name());
    if (!record->ReadPending())
        m_keys->Remove(record->Key());
    // Somebody who still waits for a start that a stop has overtaken goes on as well.
    if (record->StartResult() == ERROR_SUCCESS && !IsSignalled(record->Started()))
        record->SetStartResult(ERROR_OPERATION_ABORTED);
    record->Started().SetEvent();
    record->Stopped().SetEvent();
}

// The record is nobody's any more. Its memory stays as long as a read may still write to it.
void CDirectoryChangeWatcher::Destroy(const Record& record)
{
    if (record->linked)
        record->RealHandler()->UnlinkWatcher();
    record->Retire();
    if (!record->ReadPending())
        m_keys->Remove(record->Key());
}

bool CDirectoryChangeWatcher::UnwatchAllDirectories()
{
    struct Ending {
        CDirectoryChangeWatcher& watcher;
        explicit Ending(CDirectoryChangeWatcher& ended) : watcher(ended) { Count(1); }
        ~Ending() { Count(-1); }
        void Count(int change)
        {
            const CSingleLock lock(watcher.m_section);
            watcher.m_endings += change;
        }
    } const ending(*this);

    const auto all = [](const CDirWatchInfo&) { return true; };
    std::shared_ptr<EngineRun> run;
    do {
        EndWatches(all);
        WaitForOtherUsers();
    } while (!TakeRun(run));
    if (run && run->worker)
        EndWorker(*run);
    return true;
}

// Inside m_section: whether another thread needs the worker to start or to end watches.
bool CDirectoryChangeWatcher::HasOtherUsers() const
{
    return std::any_of(m_users.begin(), m_users.end(), [](DWORD thread) { return thread != GetCurrentThreadId(); });
}

void CDirectoryChangeWatcher::WaitForOtherUsers()
{
    for (;;) {
        {
            const CSingleLock lock(m_section);
            if (!HasOtherUsers())
                return;
            m_useEnded.ResetEvent();
        }
        WaitPumping(m_useEnded, StopWaitSlice, QS_ALLINPUT);
    }
}

// False while there are watches or other users: somebody has come in between.
bool CDirectoryChangeWatcher::TakeRun(std::shared_ptr<EngineRun>& run)
{
    const CSingleLock lock(m_section);
    if (HasOtherUsers() ||
        std::any_of(m_records.begin(), m_records.end(), [](const Record& record) { return record != nullptr; }))
        return false;
    m_records.clear();
    run = std::move(m_run);
    return true;
}

// A handler that is being called meanwhile may be what the worker waits for, and it may be on this very
// thread: messages are dispatched.
void CDirectoryChangeWatcher::EndWorker(const EngineRun& run)
{
    const LockOrder::WaitScope wait(WorkerName);
    const CDelayedNotificationThread::WorkerWait waits(run.workerId);
    const HANDLE worker = run.worker.Get();
    // A packet that the system refuses is tried again: the worker is waited for without limit.
    while (!m_io.PostPacket(run.port.Get(), 0, 0, nullptr) && !WaitPumping(worker, RefusedPostPause, QS_ALLINPUT)) {
    }
    while (!WaitPumping(worker, StopWaitSlice, QS_ALLINPUT)) {
    }
}

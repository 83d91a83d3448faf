#include "directory_changes/WatchEngine.h"

#include "directory_changes/ChangeIo.h"
#include "directory_changes/DelayedNotificationThread.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/LastError.h"
#include "directory_changes/MessagePump.h"
#include "support/Handle.h"
#include "support/Privileges.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

namespace
{

constexpr DWORD StartWaitSlice = 10000; // milliseconds

bool IsDirectory(const wchar_t* path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void EnableWatchPrivileges()
{
    static std::once_flag once;
    std::call_once(once, EnableProcessPrivileges);
}

} // namespace

// Refuses new watches as long as it lives.
class WatchEngine::RefusingWatches
{
public:
    explicit RefusingWatches(WatchEngine& engine) : m_engine(engine) { Count(1); }
    ~RefusingWatches() { Count(-1); }
    RefusingWatches(const RefusingWatches&) = delete;
    RefusingWatches& operator=(const RefusingWatches&) = delete;

private:
    void Count(int change)
    {
        const CSingleLock lock(m_engine.m_section);
        m_engine.m_endings += change;
    }
    WatchEngine& m_engine;
};

WatchEngine::WatchEngine(CDirectoryChangeWatcher& watcher, ChangeIo& io, bool appHasGui, DWORD filterFlags)
    : m_watcher(watcher),
      m_io(io),
      m_appHasGui(appHasGui),
      m_filterFlags(filterFlags)
{
}

WatchEngine::~WatchEngine() = default;

DWORD WatchEngine::Watch(const wchar_t* path, CDirectoryChangeHandler& handler)
{
    if (!IsDirectory(path))
        return ERROR_BAD_PATHNAME;
    Unwatch({.path = path});
    if (AllAreEnding())
        return ERROR_OPERATION_ABORTED;
    EnableWatchPrivileges();
    DWORD error = ERROR_SUCCESS;
    const Record record = MakeRecord(path, handler, error);
    return record ? BeginWatch(record, handler) : error;
}

bool WatchEngine::AllAreEnding() const
{
    const CSingleLock lock(m_section);
    return m_endings > 0;
}

WatchEngine::Record WatchEngine::MakeRecord(const wchar_t* path, CDirectoryChangeHandler& handler, DWORD& error)
{
    DirectoryHandle directory = OpenDirectory(m_io, path);
    if (!directory) {
        error = LastErrorOr(ERROR_OPEN_FAILED);
        return nullptr;
    }
    try {
        return std::make_shared<CDirWatchInfo>(shared_from_this(), std::move(directory), path, handler, m_appHasGui,
                                               m_filterFlags);
    } catch (const std::bad_alloc&) {
        error = ERROR_OUTOFMEMORY;
        return nullptr;
    }
}

DWORD WatchEngine::BeginWatch(const Record& record, CDirectoryChangeHandler& handler)
{
    if (const DWORD error = JoinRun(record))
        return error;
    if (const DWORD error = StartMonitoring(record)) {
        // No event comes after the error has been returned.
        EndingWatches::Instance().EndAndWait({.engine = this, .handler = &handler, .record = record.get()});
        return error;
    }
    // Only now: a watch that could not start ends nothing that the handler watches with another watcher.
    return LinkHandler(record, handler);
}

// Another thread may have begun to watch the path meanwhile: the later watch replaces the earlier one.
DWORD WatchEngine::JoinRun(const Record& record)
{
    for (;;) {
        Joined joined = Joined::Yes;
        const DWORD error = TryJoin(record, joined);
        if (joined != Joined::PathIsWatched)
            return error;
        Unwatch({.path = record->Name()});
    }
}

DWORD WatchEngine::TryJoin(const Record& record, Joined& joined)
{
    const CSingleLock lock(m_section);
    if (m_endings > 0)
        return ERROR_OPERATION_ABORTED;
    const WatchSelector same{.path = record->Name()};
    if (std::any_of(m_records.begin(), m_records.end(), [&](const Record& r) { return r && same.Matches(*r); })) {
        joined = Joined::PathIsWatched;
        return ERROR_ALREADY_EXISTS;
    }
    return AddToRun(record);
}

// The record is in the table and in the array before its first read: neither a packet nor a stop can miss it.
DWORD WatchEngine::AddToRun(const Record& record)
{
    if (!m_run)
        m_run = std::make_shared<EngineRun>(m_io, m_watcher);
    const ULONG_PTR key = m_run->Keys().Next();
    if (const DWORD error = m_run->Associate(record->Read().Directory(), key))
        return error;
    if (const DWORD error = m_run->EnsureWorker())
        return error;
    record->Join(m_run, key);
    m_run->Keys().Add(key, record);
    try {
        Store(record);
    } catch (...) {
        m_run->Keys().Remove(key);
        throw;
    }
    return ERROR_SUCCESS;
}

void WatchEngine::Store(const Record& record)
{
    const auto free = std::find(m_records.begin(), m_records.end(), nullptr);
    if (free != m_records.end())
        *free = record;
    else
        m_records.push_back(record);
}

// The caller's messages wait, except inside an event: the worker may need room in the queue that this thread empties.
DWORD WatchEngine::StartMonitoring(const Record& record)
{
    PerformFor(record, record->State().Take(WatchInput::StartAsked));
    const LockOrder::WaitScope wait(L"engine worker");
    const HANDLE worker = record->Run().Worker();
    const HANDLE either[] = {record->Reports().Started(), worker};
    while (!IsSignalled(record->Reports().Started())) {
        const bool workerHasEnded = IsSignalled(worker);
        if (workerHasEnded)
            PerformFor(record, record->State().Take(WatchInput::GivenUp, true));
        const std::size_t count = workerHasEnded ? 1 : 2; // a worker that has ended would cut each wait short
        if (IsInsideEvent())
            WaitPumping(std::span(either, count), StartWaitSlice);
        else
            WaitForMultipleObjects(static_cast<DWORD>(count), either, FALSE, StartWaitSlice);
    }
    return record->Reports().StartResult();
}

// Returns an error when another watcher has got the handler at the same time; the watch has ended then.
DWORD WatchEngine::LinkHandler(const Record& record, CDirectoryChangeHandler& handler)
{
    handler.EndWatchesElsewhere(this);
    {
        const CSingleLock lock(m_section);
        // A watch that was ended meanwhile must leave no link behind.
        if (std::find(m_records.begin(), m_records.end(), record) == m_records.end())
            return ERROR_SUCCESS;
        handler.LinkWatcher(shared_from_this());
        record->Owner().linked = handler.IsLinkedTo(this);
        if (record->Owner().linked)
            return ERROR_SUCCESS;
    }
    Unwatch({.record = record.get()});
    return ERROR_OPERATION_ABORTED;
}

bool WatchEngine::IsWatching(const wchar_t* path) const noexcept
{
    const WatchSelector selector{.path = path};
    const CSingleLock lock(m_section);
    return std::any_of(m_records.begin(), m_records.end(), [&](const Record& r) { return r && selector.Matches(*r); });
}

bool WatchEngine::Unwatch(WatchSelector selector) noexcept
{
    selector.engine = this;
    const bool took = TakeOut(selector);
    const bool waited = EndingWatches::Instance().EndAndWait(selector);
    // A watch that was over already may have been the last one, and its notifier may not have ended yet.
    if (!IsInsideEvent())
        CDelayedNotificationThread::WaitForUnused();
    return took || waited;
}

void WatchEngine::UnwatchAll() noexcept
{
    const RefusingWatches refusing(*this);
    Unwatch({});
    std::shared_ptr<EngineRun> run;
    {
        const CSingleLock lock(m_section);
        run = m_run;
    }
    if (!run)
        return;
    run->EndWorker();
    const CSingleLock lock(m_section);
    m_records.clear();
    if (m_run == run)
        m_run.reset();
}

bool WatchEngine::TakeOut(const WatchSelector& selector) noexcept
{
    bool took = false;
    const CSingleLock lock(m_section);
    for (Record& slot : m_records)
        if (slot && selector.Matches(*slot)) {
            EndingWatches::Instance().Add(slot);
            slot.reset();
            took = true;
        }
    return took;
}

void WatchEngine::AskToStop(const Record& record) noexcept
{
    PerformFor(record, record->State().Take(WatchInput::StopAsked));
}

void WatchEngine::PerformFor(const Record& record, const WatchStep& step) noexcept
{
    WatchTask task = step.task;
    DWORD error = ERROR_SUCCESS;
    if (task == WatchTask::PostPacket && !record->PostPacket()) {
        error = LastErrorOr(ERROR_GEN_FAILURE);
        task = record->State().Take(WatchInput::PostRefused).task;
    }
    // The other tasks are those of the worker, or are done.
    if (task == WatchTask::FinishStopped)
        Finish(record, WatchEnding::Stopped, ERROR_SUCCESS);
    else if (task == WatchTask::FinishUnheard)
        Finish(record, WatchEnding::Unheard, error);
}

void WatchEngine::Finish(const Record& record, WatchEnding ending, DWORD error) noexcept
{
    record->Engine().TakeOut({.record = record.get()});
    record->Finish(ending, error);
}

// Starting watches.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/CompletionKeys.h"
#include "directory_changes/DelayedNotificationThread.h"
#include "directory_changes/DirWatchInfo.h"
#include "directory_changes/DirectoryChanges.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/LastError.h"
#include "directory_changes/MessagePump.h"
#include "support/CaseFold.h"
#include "support/Handle.h"
#include "support/Privileges.h"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <utility>

namespace
{

constexpr DWORD StartWaitSlice = 10000;
constexpr DWORD HandlersWaitSlice = 500; // the end of the worker does not wake it
constexpr const wchar_t* WorkerName = L"engine worker";

bool IsDirectory(const wchar_t* path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

DWORD Fail(DWORD error)
{
    SetLastError(error);
    return error;
}

void EnableWatchPrivileges()
{
    static std::once_flag once;
    std::call_once(once, EnableProcessPrivileges);
}

} // namespace

CDirectoryChangeWatcher::CDirectoryChangeWatcher(bool appHasGui, DWORD filterFlags)
    : CDirectoryChangeWatcher(SystemChangeIo(), appHasGui, filterFlags)
{
}

CDirectoryChangeWatcher::CDirectoryChangeWatcher(ChangeIo& io, bool appHasGui, DWORD filterFlags)
    : m_io(io),
      m_appHasGui(appHasGui),
      m_filterFlags(filterFlags),
      m_keys(std::make_unique<CompletionKeys>())
{
}

CDirectoryChangeWatcher::~CDirectoryChangeWatcher() { UnwatchAllDirectories(); }

void CDirectoryChangeWatcher::OnThreadStart() {}
void CDirectoryChangeWatcher::OnThreadExit() {}

DWORD CDirectoryChangeWatcher::WatchDirectory(const wchar_t* path, CDirectoryChangeHandler* handler)
{
    if (!path || !*path || !handler)
        return Fail(ERROR_INVALID_PARAMETER);
    if (!IsDirectory(path))
        return Fail(ERROR_BAD_PATHNAME);
    UnwatchDirectory(path);
    const WorkerUse use(*this);
    if (use.AllIsEnding())
        return Fail(ERROR_OPERATION_ABORTED);
    EnableWatchPrivileges();
    const HANDLE directory = m_io.OpenDirectory(path);
    if (directory == INVALID_HANDLE_VALUE)
        return Fail(LastErrorOr(ERROR_OPEN_FAILED));
    Record record;
    try {
        record = std::make_shared<CDirWatchInfo>(m_io, directory, path, handler, m_appHasGui, m_filterFlags);
    } catch (const std::bad_alloc&) {
        m_io.CloseDirectory(directory);
        return Fail(ERROR_OUTOFMEMORY);
    } catch (const std::system_error& error) {
        m_io.CloseDirectory(directory);
        return Fail(static_cast<DWORD>(error.code().value()));
    }
    if (const DWORD error = JoinRun(record)) {
        record->Retire();
        return Fail(error);
    }
    // In the table and in the array before its first read: neither a packet nor a stop can miss it.
    try {
        m_keys->Add(record->Key(), record);
        Store(record);
    } catch (const std::bad_alloc&) {
        m_keys->Remove(record->Key());
        record->Retire();
        return Fail(ERROR_OUTOFMEMORY);
    }
    if (const DWORD error = StartMonitoring(record)) {
        // Whoever has taken it out meanwhile ends it.
        if (TakeOut(record))
            Destroy(record);
        return Fail(error);
    }
    // Only now: a watch that could not start ends nothing that the handler watches with another watcher.
    LinkHandler(record, *handler);
    return Fail(ERROR_SUCCESS);
}

// A watch that somebody has ended meanwhile must leave no link behind.
void CDirectoryChangeWatcher::LinkHandler(const Record& record, CDirectoryChangeHandler& handler)
{
    const bool ended = handler.EndWatchesElsewhere(this);
    const CSingleLock lock(m_section);
    if (std::find(m_records.begin(), m_records.end(), record) == m_records.end())
        return;
    handler.LinkWatcher(this, ended);
    record->linked = handler.IsLinkedTo(this);
}

// Gives the record its key, the port and a worker.
DWORD CDirectoryChangeWatcher::JoinRun(const Record& record)
{
    const CSingleLock lock(m_section);
    if (!m_run)
        m_run = std::make_shared<EngineRun>(EngineRun{*this});
    const ULONG_PTR key = m_keys->Next();
    const HANDLE port = m_io.AssociatePort(record->Directory(), m_run->port.Get(), key);
    if (!port)
        return LastErrorOr(ERROR_GEN_FAILURE);
    if (!m_run->port)
        m_run->port.Reset(port);
    record->Join(m_run, key);
    return EnsureWorker(*m_run);
}

DWORD CDirectoryChangeWatcher::EnsureWorker(EngineRun& run)
{
    if (run.worker)
        return ERROR_SUCCESS;
    SetLastError(ERROR_SUCCESS);
    run.worker.Reset(m_io.StartThread(&MonitorDirectoryChanges, &run, &run.workerId));
    if (run.worker)
        return ERROR_SUCCESS;
    return LastErrorOr(ERROR_MAX_THRDS_REACHED);
}

// The caller's messages wait, but for a handler that starts a watch from inside an event: the worker may be waiting for
// what it has posted to this very thread.
DWORD CDirectoryChangeWatcher::StartMonitoring(const Record& record)
{
    if (!record->AskToStart())
        return LastErrorOr(ERROR_GEN_FAILURE);
    const LockOrder::WaitScope wait(WorkerName);
    const CDelayedNotificationThread::WorkerWait waits(record->Run().workerId);
    // A worker that has ended does not answer any more.
    const HANDLE worker = record->Run().worker.Get();
    const HANDLE either[] = {record->Started(), worker};
    do
        if (CDelayedNotificationThread::RunsHandlers())
            WaitPumping(record->Started(), HandlersWaitSlice, QS_ALLINPUT);
        else
            WaitForMultipleObjects(2, either, FALSE, StartWaitSlice);
    while (!IsSignalled(record->Started()) && !IsSignalled(worker));
    return IsSignalled(record->Started()) ? record->StartResult() : DWORD(ERROR_OPERATION_ABORTED);
}

bool CDirectoryChangeWatcher::IsWatchingDirectory(const wchar_t* path) const
{
    if (!path) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    const CSingleLock lock(m_section);
    return std::any_of(m_records.begin(), m_records.end(),
                       [&](const Record& record) { return record && EqualNoCase(record->Name().View(), path); });
}

void CDirectoryChangeWatcher::Store(const Record& record)
{
    const CSingleLock lock(m_section);
    const auto free = std::find(m_records.begin(), m_records.end(), nullptr);
    if (free != m_records.end())
        *free = record;
    else
        m_records.push_back(record);
}

bool CDirectoryChangeWatcher::TakeOut(const Record& record)
{
    const CSingleLock lock(m_section);
    const auto found = std::find(m_records.begin(), m_records.end(), record);
    if (found == m_records.end())
        return false;
    found->reset();
    return true;
}

std::vector<CDirectoryChangeWatcher::Record>
CDirectoryChangeWatcher::TakeOutAll(const std::function<bool(const CDirWatchInfo&)>& concerned)
{
    std::vector<Record> taken;
    const CSingleLock lock(m_section);
    taken.reserve(m_records.size()); // before anything is taken out
    for (Record& slot : m_records)
        if (slot && concerned(*slot))
            taken.push_back(std::exchange(slot, nullptr));
    return taken;
}

// Starting and ending watches.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/CompletionKeys.h"
#include "directory_changes/DirWatchInfo.h"
#include "directory_changes/DirectoryChanges.h"
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
constexpr DWORD StopWaitSlice = 5000;
// How long a closed directory may take to give its cancelled read back.
constexpr ULONGLONG LastPacketLimit = 10000;
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

bool Given(const void* argument)
{
    if (!argument)
        SetLastError(ERROR_INVALID_PARAMETER);
    return argument != nullptr;
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
    if (Port())
        UnwatchDirectory(path);
    EnableWatchPrivileges();
    const HANDLE directory = m_io.OpenDirectory(path);
    if (directory == INVALID_HANDLE_VALUE)
        return GetLastError();
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
    record->SetKey(m_keys->Next());
    {
        const CSingleLock lock(m_section);
        const HANDLE port = m_io.AssociatePort(directory, m_port, record->Key());
        if (!port)
            return GiveUp(record, GetLastError());
        m_port = port;
    }
    if (const DWORD error = EnsureWorker())
        return GiveUp(record, error);
    // In the table and in the array before its first read: neither a packet nor a stop can miss it.
    m_keys->Add(record->Key(), record);
    handler->LinkWatcher(this);
    Store(record);
    if (const DWORD error = StartMonitoring(record)) {
        if (TakeOut(record))
            handler->UnlinkWatcher();
        m_keys->Remove(record->Key());
        return GiveUp(record, error);
    }
    return Fail(ERROR_SUCCESS);
}

// Before a record dies, what it has queued reaches the handler.
DWORD CDirectoryChangeWatcher::GiveUp(const Record& record, DWORD error)
{
    record->Retire();
    return Fail(error);
}

DWORD CDirectoryChangeWatcher::EnsureWorker()
{
    const CSingleLock lock(m_section);
    if (m_worker)
        return ERROR_SUCCESS;
    SetLastError(ERROR_SUCCESS);
    m_worker = m_io.StartThread(&MonitorDirectoryChanges, this, &m_workerId);
    if (m_worker)
        return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    return error ? error : ERROR_MAX_THRDS_REACHED;
}

DWORD CDirectoryChangeWatcher::StartMonitoring(const Record& record)
{
    if (!record->Ask(StateStartMonitoring, Port()))
        return GetLastError() ? GetLastError() : ERROR_GEN_FAILURE;
    const LockOrder::WaitScope wait(WorkerName);
    while (!WaitForWorker(record->Started(), StartWaitSlice))
        if (IsSignalled(m_worker))
            return ERROR_OPERATION_ABORTED;
    return record->StartResult();
}

// True when the event was set; a worker that has ended does not set it any more.
bool CDirectoryChangeWatcher::WaitForWorker(HANDLE event, DWORD milliseconds)
{
    const HANDLE either[] = {event, m_worker};
    WaitForMultipleObjects(2, either, FALSE, milliseconds);
    return IsSignalled(event);
}

// Asks the worker to end the record's watch and waits until its last packet has come. Its windows stay
// alive meanwhile.
void CDirectoryChangeWatcher::StopMonitoring(const Record& record)
{
    if (!record->Ask(StateStopMonitoring, Port()))
        return;
    const LockOrder::WaitScope wait(WorkerName);
    ULONGLONG closed = 0;
    while (!WaitPumping(record->Stopped(), closed ? 500 : StopWaitSlice, QS_ALLINPUT)) {
        if (IsSignalled(m_worker))
            return;
        // The handler may take its time; the system may not.
        if (record->State() != StateStopped || !record->ReadPending())
            continue;
        const ULONGLONG now = GetTickCount64();
        closed = closed ? closed : now;
        if (now - closed > LastPacketLimit)
            return;
    }
}

// The record is nobody's any more. Its memory stays as long as a read may still write to it.
void CDirectoryChangeWatcher::Destroy(const Record& record)
{
    record->Retire();
    if (!record->ReadPending())
        m_keys->Remove(record->Key());
}

void CDirectoryChangeWatcher::StopAndDestroy(const Record& record)
{
    StopMonitoring(record);
    if (CDirectoryChangeHandler* real = record->RealHandler())
        real->UnlinkWatcher();
    Destroy(record);
}

bool CDirectoryChangeWatcher::UnwatchDirectory(const wchar_t* path)
{
    if (!Given(path))
        return false;
    const Record record = TakeOutPath(path);
    if (record)
        StopAndDestroy(record);
    return record != nullptr;
}

bool CDirectoryChangeWatcher::UnwatchDirectory(CDirectoryChangeHandler* handler)
{
    if (!Given(handler))
        return false;
    const std::vector<Record> records = TakeOutHandledBy(handler);
    for (const Record& record : records)
        StopAndDestroy(record);
    return !records.empty();
}

bool CDirectoryChangeWatcher::UnwatchAllDirectories()
{
    for (const Record& record : TakeOutHandledBy(nullptr))
        StopAndDestroy(record);
    HANDLE port, worker;
    {
        const CSingleLock lock(m_section);
        port = std::exchange(m_port, nullptr);
        worker = std::exchange(m_worker, nullptr);
        m_workerId = 0;
    }
    if (worker) {
        const LockOrder::WaitScope wait(WorkerName);
        // A packet that the system refuses is tried again: the worker is waited for without limit.
        while (!m_io.PostPacket(port, 0, 0, nullptr) && WaitForSingleObject(worker, 10) == WAIT_TIMEOUT) {
        }
        WaitForSingleObject(worker, INFINITE);
        CloseHandle(worker);
    }
    if (port)
        CloseHandle(port);
    return true;
}

bool CDirectoryChangeWatcher::IsWatchingDirectory(const wchar_t* path) const
{
    if (!Given(path))
        return false;
    const CSingleLock lock(m_section);
    return std::any_of(m_records.begin(), m_records.end(),
                       [&](const Record& record) { return record && EqualNoCase(record->Name().View(), path); });
}

HANDLE CDirectoryChangeWatcher::Port() const
{
    const CSingleLock lock(m_section);
    return m_port;
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

CDirectoryChangeWatcher::Record CDirectoryChangeWatcher::TakeOutPath(const wchar_t* path)
{
    const CSingleLock lock(m_section);
    for (Record& slot : m_records)
        if (slot && EqualNoCase(slot->Name().View(), path))
            return std::exchange(slot, nullptr);
    return nullptr;
}

// Every record when the handler is null.
std::vector<CDirectoryChangeWatcher::Record> CDirectoryChangeWatcher::TakeOutHandledBy(CDirectoryChangeHandler* handler)
{
    std::vector<Record> taken;
    const CSingleLock lock(m_section);
    for (Record& slot : m_records)
        if (slot && (!handler || slot->RealHandler() == handler))
            taken.push_back(std::exchange(slot, nullptr));
    if (!handler)
        m_records.clear();
    return taken;
}

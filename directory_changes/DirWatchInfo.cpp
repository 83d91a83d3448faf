#include "directory_changes/DirWatchInfo.h"

#include "directory_changes/ChangeIo.h"
#include "directory_changes/EngineRun.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{

constexpr DWORD ControlPacketBytes = 8;

DWORD PartialPathOffset(const CString& name, DWORD filterFlags)
{
    if (!(filterFlags & FilterFlags::TestPartialPath) || name.IsEmpty())
        return 0;
    const int length = name.GetLength();
    return static_cast<DWORD>(name[length - 1] == L'\\' ? length : length + 1);
}

} // namespace

CDirWatchInfo::CDirWatchInfo(ChangeIo& io, HANDLE directory, const wchar_t* name, CDirectoryChangeHandler* handler,
                             bool appHasGui, DWORD filterFlags)
    : m_io(io),
      m_handler(nullptr, appHasGui, filterFlags),
      m_directory(directory),
      m_name(name)
{
    m_handler.SetPartialPathOffset(PartialPathOffset(m_name, filterFlags));
    m_handler.Reserve(m_name);
    // Last: a record that cannot be made takes nothing over.
    m_handler.SetRealHandler(handler);
    handler->AddRef();
}

CDirWatchInfo::~CDirWatchInfo() { Retire(); }

void CDirWatchInfo::Retire()
{
    CloseDirectory();
    m_handler.Retire();
    if (CDirectoryChangeHandler* real = m_handler.TakeRealHandler())
        real->Release();
}

RunningState CDirWatchInfo::State() const
{
    const CSingleLock lock(m_section);
    return m_state;
}

void CDirWatchInfo::Join(std::shared_ptr<EngineRun> run, ULONG_PTR key)
{
    m_run = std::move(run);
    m_key = key;
}

CDirWatchInfo::Visit::Visit(CDirWatchInfo& record) : m_record(record)
{
    const CSingleLock lock(record.m_section);
    m_welcome = !record.m_takenOver;
    record.m_visited = m_welcome;
}

CDirWatchInfo::Visit::~Visit()
{
    const CSingleLock lock(m_record.m_section);
    m_record.m_visited = false;
}

bool CDirWatchInfo::Post() { return m_io.PostPacket(m_run->port.Get(), ControlPacketBytes, m_key, &m_control); }

bool CDirWatchInfo::AskToStart()
{
    const CSingleLock lock(m_section);
    if (m_state != StateNotSet) {
        SetLastError(ERROR_OPERATION_ABORTED);
        return false;
    }
    m_state = StateStartMonitoring;
    return Post();
}

bool CDirWatchInfo::AskToStop()
{
    const CSingleLock lock(m_section);
    if (m_state == StateStopped)
        return true;
    m_state = StateStopMonitoring;
    return Post();
}

ClosedWithoutWorker CDirWatchInfo::CloseWithoutWorker()
{
    const CSingleLock lock(m_section);
    if (m_visited)
        return ClosedWithoutWorker::NotYet;
    if (m_state == StateStopped)
        return ClosedWithoutWorker::ReadComesBack;
    m_takenOver = !m_readPending;
    CloseForStop();
    return m_takenOver ? ClosedWithoutWorker::NothingComes : ClosedWithoutWorker::ReadComesBack;
}

bool CDirWatchInfo::TakeFromWorker()
{
    const CSingleLock lock(m_section);
    if (m_visited || m_stopped.Lock(0))
        return false;
    m_takenOver = true;
    CloseDirectory();
    return true;
}

bool CDirWatchInfo::MoveOn(RunningState from, RunningState to)
{
    const CSingleLock lock(m_section);
    if (m_state != from)
        return false;
    m_state = to;
    return true;
}

DWORD CDirWatchInfo::Read()
{
    m_overlapped = {};
    m_readPending = true; // before the call: its packet may come at once
    const auto read = [&] {
        return m_io.ReadChanges(m_directory, m_buffer.data() + m_carry, m_bufferSize - m_carry, true, ChangeFilter,
                                &m_overlapped);
    };
    bool issued = read();
    if (!issued && GetLastError() == ERROR_INVALID_PARAMETER && m_bufferSize > NetworkBufferSize) {
        m_bufferSize = NetworkBufferSize;
        issued = read();
    }
    if (issued)
        return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    m_readPending = false;
    return error ? error : ERROR_GEN_FAILURE;
}

bool CDirWatchInfo::Process(DWORD bytes)
{
    if (CDirectoryChangeHandler* real = m_handler.RealHandler())
        real->SetChangedDirectoryName(m_name);
    m_handler.SetChangedDirectoryName(m_name);
    const std::size_t size = std::min<std::size_t>(std::size_t(m_carry) + bytes, m_buffer.size());
    m_carry = 0;
    try {
        m_carry = static_cast<DWORD>(DecodeChanges(m_buffer.data(), size, m_name.View(), *this));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void CDirWatchInfo::DropCarried()
{
    const DWORD carried = std::exchange(m_carry, 0);
    if (carried == 0)
        return;
    try {
        GiveUpCarriedName(m_buffer.data(), carried, m_name.View(), *this);
    } catch (const std::bad_alloc&) {
        m_handler.OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, m_name);
    }
}

void CDirWatchInfo::CloseForStop()
{
    const CSingleLock lock(m_section);
    m_completedBeforeClose = HasOverlappedIoCompleted(&m_overlapped);
    CloseDirectory();
    m_state = StateStopped;
}

bool CDirWatchInfo::LastReadWasLost() const
{
    // Of ReadDirectoryChangesW: the buffer overflowed.
    constexpr ULONG_PTR statusNotifyEnumDir = 0x10C;
    return m_completedBeforeClose || m_overlapped.Internal == statusNotifyEnumDir;
}

void CDirWatchInfo::CloseDirectory()
{
    if (IsOpen())
        m_io.CloseDirectory(std::exchange(m_directory, INVALID_HANDLE_VALUE));
}

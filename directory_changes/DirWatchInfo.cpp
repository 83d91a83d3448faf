#include "directory_changes/DirWatchInfo.h"

#include "directory_changes/ChangeIo.h"
#include "directory_changes/EndingWatches.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/WatchEngine.h"
#include "support/Handle.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{

DWORD PartialPathOffset(const CString& name, DWORD filterFlags)
{
    if (!(filterFlags & FilterFlags::TestPartialPath) || name.IsEmpty())
        return 0;
    const int length = name.GetLength();
    return static_cast<DWORD>(name[length - 1] == L'\\' ? length : length + 1);
}

} // namespace

CDirWatchInfo::CDirWatchInfo(std::shared_ptr<WatchEngine> engine, ChangeIo& io, HANDLE directory, const wchar_t* name,
                             CDirectoryChangeHandler* handler, bool appHasGui, DWORD filterFlags)
    : m_engine(std::move(engine)),
      m_io(io),
      m_name(name),
      m_handler(nullptr, appHasGui, filterFlags, this),
      m_owner(handler),
      m_directory(directory)
{
    m_handler.SetPartialPathOffset(PartialPathOffset(m_name, filterFlags));
    m_handler.Reserve(m_name);
    // Last: a record that cannot be made takes nothing over.
    m_handler.SetRealHandler(handler);
    handler->AddRef();
    ++s_liveCount;
}

CDirWatchInfo::~CDirWatchInfo()
{
    --s_liveCount;
    CloseDirectory();
    LetHandlerGo();
}

void CDirWatchInfo::Join(std::shared_ptr<EngineRun> run, ULONG_PTR key)
{
    m_run = std::move(run);
    m_key = key;
}

RunningState CDirWatchInfo::State() const
{
    const CSingleLock lock(m_section);
    return m_state;
}

bool CDirWatchInfo::IsStopAsked() const
{
    const RunningState state = State();
    return state == StateStopMonitoring || state == StateStopped || state == StateEnded;
}

WatchStep CDirWatchInfo::TakeInside(WatchInput input)
{
    const WatchStep step = NextStep(m_state, input, m_readPending);
    m_state = step.next;
    if (step.task == WatchTask::CloseDirectory) {
        m_completedBeforeClose = HasOverlappedIoCompleted(&m_overlapped);
        CloseDirectory();
    }
    return step;
}

WatchStep CDirWatchInfo::Take(WatchInput input, bool workerHasEnded)
{
    const CSingleLock lock(m_section);
    const bool inPlaceOfWorker = input == WatchInput::PostRefused || input == WatchInput::GivenUp;
    if (!inPlaceOfWorker || !m_leased || workerHasEnded)
        return TakeInside(input);
    m_packetRefused = m_packetRefused || input == WatchInput::PostRefused;
    return {m_state, WatchTask::Nothing};
}

WatchStep CDirWatchInfo::BeginLease(WatchInput input)
{
    const CSingleLock lock(m_section);
    if (input == WatchInput::ReadBack)
        m_readPending = false;
    m_leased = true;
    return TakeInside(input);
}

bool CDirWatchInfo::EndLease(WatchStep& step)
{
    const CSingleLock lock(m_section);
    m_leased = std::exchange(m_packetRefused, false);
    if (m_leased)
        step = TakeInside(WatchInput::PostRefused);
    return m_leased;
}

bool CDirWatchInfo::PostPacket() { return m_run->Post(m_key, &m_control); }

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

void CDirWatchInfo::ReportLoss()
{
    DropCarried();
    m_handler.OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, m_name);
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

bool CDirWatchInfo::LastReadWasLost() const
{
    // ReadDirectoryChangesW leaves this status when the system's buffer has overflowed.
    constexpr ULONG_PTR statusNotifyEnumDir = 0x10C;
    return m_completedBeforeClose || m_overlapped.Internal == statusNotifyEnumDir;
}

void CDirWatchInfo::SetStartResult(DWORD error)
{
    m_startResult = error;
    m_started.SetEvent();
}

void CDirWatchInfo::Finish(WatchEnding ending, DWORD error)
{
    CloseDirectory();
    // A read that has not come back may hold changes.
    if (m_readPending)
        ReportLoss();
    DropCarried();
    if (ending == WatchEnding::Stopped)
        m_handler.PostWatchStopped(m_name);
    if (ending == WatchEnding::Failed)
        ReportError(error);
    else if (!IsSignalled(m_started))
        SetStartResult(error ? error : ERROR_OPERATION_ABORTED);
    m_handler.PostFence();
}

void CDirWatchInfo::ReportError(DWORD error)
{
    if (IsSignalled(m_started)) {
        m_handler.OnReadChangesError(error, m_name);
        return;
    }
    m_handler.OnWatchStarted(error, m_name);
    SetStartResult(error);
}

void CDirWatchInfo::CloseDirectory()
{
    if (m_directory != INVALID_HANDLE_VALUE)
        m_io.CloseDirectory(std::exchange(m_directory, INVALID_HANDLE_VALUE));
}

void CDirWatchInfo::LetHandlerGo()
{
    if (CDirectoryChangeHandler* real = m_handler.TakeRealHandler())
        real->Release();
}

bool CDirWatchInfo::ForgetOwner()
{
    if (!m_handler.TakeRealHandler())
        return false;
    m_owner = nullptr;
    return true;
}

void CDirWatchInfo::OnDrained() noexcept
{
    CDirectoryChangeHandler* const real = m_handler.RealHandler();
    if (real && linked)
        real->UnlinkWatcher(m_engine.get());
}

// The record stays in the list of ending watches until the handler has been let go: a thread that destroys the handler
// waits for that.
std::shared_ptr<const void> CDirWatchInfo::OnIdle() noexcept
{
    std::shared_ptr<const void> alive = shared_from_this();
    LetHandlerGo();
    // A read that is still out keeps the record, whose buffer the system may write to.
    if (m_run && !m_readPending)
        m_run->Keys().Remove(m_key);
    EndingWatches::Instance().Remove(*this);
    return alive;
}

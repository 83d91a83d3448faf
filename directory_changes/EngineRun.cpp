#include "directory_changes/EngineRun.h"

#include "directory_changes/ChangeIo.h"
#include "directory_changes/LastError.h"
#include "directory_changes/MessagePump.h"

namespace
{

constexpr DWORD ControlPacketBytes = 8;
constexpr DWORD WaitSlice = 5000;      // milliseconds
constexpr DWORD RefusedPostPause = 10; // milliseconds

} // namespace

DWORD EngineRun::Associate(HANDLE directory, ULONG_PTR key)
{
    const HANDLE port = m_io.AssociatePort(directory, m_port.Get(), key);
    if (!port)
        return LastErrorOr(ERROR_GEN_FAILURE);
    if (!m_port)
        m_port.Reset(port);
    return ERROR_SUCCESS;
}

DWORD EngineRun::EnsureWorker()
{
    if (m_worker)
        return ERROR_SUCCESS;
    SetLastError(ERROR_SUCCESS);
    m_worker.Reset(m_io.StartThread(&MonitorDirectoryChanges, this, &m_workerId));
    return m_worker ? DWORD(ERROR_SUCCESS) : LastErrorOr(ERROR_MAX_THRDS_REACHED);
}

bool EngineRun::Post(ULONG_PTR key, OVERLAPPED* control)
{
    return m_io.PostPacket(m_port.Get(), ControlPacketBytes, key, control);
}

void EngineRun::PostEnd()
{
    if (!m_endPosted.exchange(true) && !m_io.PostPacket(m_port.Get(), 0, 0, nullptr))
        m_endPosted = false;
}

void EngineRun::EndWorker()
{
    const HANDLE worker = m_worker.Get();
    if (!worker)
        return;
    const LockOrder::WaitScope wait(L"engine worker");
    // A packet that the system refuses is posted again, by each caller: an event that the wait dispatches may end the
    // worker as well, and then the call below cannot go on.
    do
        PostEnd();
    while (!WaitPumping(worker, m_endPosted ? WaitSlice : RefusedPostPause));
}

#include "directory_changes/WatchReports.h"

#include "support/Handle.h"

#include <new>

void WatchReports::ReportStart(DWORD error)
{
    m_handler.OnWatchStarted(error, m_directory);
    SetStartResult(error);
}

void WatchReports::SetStartResult(DWORD error)
{
    m_startResult = error;
    m_started.SetEvent();
}

bool WatchReports::ReportChanges(DWORD bytes)
{
    m_owner.SetDirectoryName(m_directory);
    try {
        m_read.Decode(bytes, m_directory.View(), *this);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void WatchReports::ReportLoss()
{
    GiveUpCarried();
    PostLoss();
}

void WatchReports::GiveUpCarried()
{
    try {
        m_read.GiveUpCarried(m_directory.View(), *this);
    } catch (const std::bad_alloc&) {
        PostLoss();
    }
}

void WatchReports::ReportError(DWORD error)
{
    if (IsSignalled(m_started))
        m_handler.OnReadChangesError(error, m_directory);
    else
        ReportStart(error);
}

void WatchReports::ReportEnd(WatchEnding ending, DWORD error)
{
    // A read that has not come back may hold changes.
    if (m_read.IsPending())
        ReportLoss();
    GiveUpCarried();
    if (ending == WatchEnding::Stopped)
        m_handler.PostWatchStopped(m_directory);
    if (ending == WatchEnding::Failed)
        ReportError(error);
    else if (!IsSignalled(m_started))
        SetStartResult(error ? error : ERROR_OPERATION_ABORTED);
}

// Tells the handler of a watch how the watch goes, and what its reads have brought.
//
// The worker with the lease reports, and then the thread that ends the watch; waiting for the start: any thread.
#pragma once

#include "directory_changes/DirectoryRead.h"
#include "directory_changes/WatchOwner.h"

// How a watch ends. This decides the last event of its handler.
enum class WatchEnding {
    Stopped, // OnWatchStopped
    Failed,  // OnReadChangesError with the error, or OnWatchStarted when the first read failed
    Unheard, // none: the worker has never seen the watch
};

class WatchReports final : private ChangeRecordSink
{
public:
    // The arguments must outlive the reports.
    WatchReports(const CString& directory, DirectoryRead& read, CDelayedDirectoryChangeHandler& handler,
                 WatchOwner& owner)
        : m_directory(directory),
          m_read(read),
          m_handler(handler),
          m_owner(owner)
    {
    }

    // Set when the first read was issued or has failed, and at the end of the watch.
    HANDLE Started() const { return m_started; }
    DWORD StartResult() const { return m_startResult; } // once Started is set

    void ReportStart(DWORD error);
    // Posts the changes of a read. Returns false when some were lost for want of memory.
    bool ReportChanges(DWORD bytes);
    // Reports that changes were lost. A carried old name gets no successor any more.
    void ReportLoss();
    // Reports that reading has ended; before the start, as a failed start.
    void ReportError(DWORD error);
    // Posts the last events.
    void ReportEnd(WatchEnding ending, DWORD error);

private:
    void GiveUpCarried();
    void PostLoss() { m_handler.OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, m_directory); }
    void SetStartResult(DWORD error);
    void Added(const wchar_t* path) override { m_handler.OnFileAdded(path); }
    void Removed(const wchar_t* path) override { m_handler.OnFileRemoved(path); }
    void Modified(const wchar_t* path) override { m_handler.OnFileModified(path); }
    void Renamed(const wchar_t* oldPath, const wchar_t* newPath) override
    {
        m_handler.OnFileNameChanged(oldPath, newPath);
    }

    const CString& m_directory;
    DirectoryRead& m_read;
    CDelayedDirectoryChangeHandler& m_handler;
    WatchOwner& m_owner;
    DWORD m_startResult = ERROR_OPERATION_ABORTED;
    CEvent m_started{false, true};
};

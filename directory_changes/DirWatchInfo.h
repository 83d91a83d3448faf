// One watch: a directory tree that a run reads for a handler. Its parts: the read (DirectoryRead), where the watch
// stands (WatchState), its handler (WatchOwner), and what the handler is told (WatchReports).
//
// The thread whose input leads to StateEnded calls Finish, so that exactly one thread does. Finish posts the last
// events and the fence behind them. When the notifier passes the fence, the watch is *drained*: all its events have
// been dispatched. It is *idle* once no event of it is in progress either; only then the record releases the caller's
// handler.
#pragma once

#include "directory_changes/DirectoryChanges.h"
#include "directory_changes/WatchReports.h"
#include "directory_changes/WatchState.h"

class EngineRun;
class WatchEngine;

class CDirWatchInfo final : public std::enable_shared_from_this<CDirWatchInfo>, private FenceListener
{
public:
    CDirWatchInfo(std::shared_ptr<WatchEngine> engine, DirectoryHandle directory, const wchar_t* name,
                  CDirectoryChangeHandler& handler, bool appHasGui, DWORD filterFlags);
    ~CDirWatchInfo();

    // Returns how many records the process has. For tests.
    static int LiveCount() { return s_liveCount; }

    // Constant.
    WatchEngine& Engine() const { return *m_engine; }
    const CString& Name() const { return m_name; }
    // The parts; each says which threads may use it.
    DirectoryRead& Read() { return m_read; }
    WatchState& State() { return m_state; }
    WatchOwner& Owner() { return m_owner; }
    const WatchOwner& Owner() const { return m_owner; }
    WatchReports& Reports() { return m_reports; }
    CDelayedDirectoryChangeHandler& Handler() { return m_handler; }

    // Before the watch is begun.
    void Join(std::shared_ptr<EngineRun> run, ULONG_PTR key);
    EngineRun& Run() const { return *m_run; }
    ULONG_PTR Key() const { return m_key; }

    // Any thread.
    bool PostPacket();
    // Posts the last events and the fence. For the thread that has brought the watch to StateEnded, once.
    void Finish(WatchEnding ending, DWORD error);

    // EndingWatches uses these, guarded by its section.
    std::shared_ptr<CDirWatchInfo> nextEnding;
    unsigned long long endingNumber = 0;

private:
    void OnDrained() noexcept override { m_owner.Unlink(*m_engine); }
    std::shared_ptr<const void> OnIdle() noexcept override;

    static inline std::atomic<int> s_liveCount{0};

    // Constant after Join.
    const std::shared_ptr<WatchEngine> m_engine;
    const CString m_name;
    std::shared_ptr<EngineRun> m_run;
    ULONG_PTR m_key = 0;

    CDelayedDirectoryChangeHandler m_handler;
    WatchOwner m_owner;
    DirectoryRead m_read;
    WatchState m_state{m_read};
    WatchReports m_reports{m_name, m_read, m_handler, m_owner};
    OVERLAPPED m_control = {}; // of the packets that callers post
};

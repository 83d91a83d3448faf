// One watch: a directory tree, its handle, its buffer, and where the watch stands.
//
// Life of a watch
//
//     StateNotSet -> StateStartMonitoring -> StateRunning -> StateStopMonitoring -> StateStopped -> StateEnded
//
// A caller begins the watch, callers end it, and the worker does everything in between. Each thread gives an input
// (WatchInput). The table below decides the next state and the task of that thread (WatchTask). There is no other rule.
//
// The thread whose input leads to StateEnded calls Finish, so that exactly one thread does. Finish posts the last
// events and the fence behind them. When the notifier passes the fence, the watch is *drained*: all its events have
// been dispatched. It is *idle* once no event of it is in progress either; only then the record releases the caller's
// handler.
//
// Threads: the worker has a lease on the record while it handles a packet. State and lease are guarded by the record's
// section. The rest belongs to the lease, and after StateEnded to the thread that calls Finish.
#pragma once

#include "directory_changes/ChangeRecords.h"
#include "directory_changes/DelayedDirectoryChangeHandler.h"
#include "directory_changes/DirectoryChanges.h"

#include <array>

enum RunningState : DWORD {
    StateNotSet = 0,          // made, and not begun
    StateStartMonitoring = 1, // the worker is to issue the first read
    StateStopMonitoring = 2,  // to be ended; the directory is still open
    StateStopped = 3,         // the directory is closed; the last read has not come back
    StateRunning = 5,         // a read is pending, or what it brought is being handled
    StateEnded = 6,           // nothing is read any more
};

// An input to the table, and the kind of thread that gives it.
enum class WatchInput {
    StartAsked,  // caller: begin the watch
    StopAsked,   // caller: end the watch; may be said more than once
    Packet,      // worker: a packet that a caller has posted came
    ReadBack,    // worker: the packet of a read came
    ReadRefused, // worker: there will be no further read
    PostRefused, // caller: the system has refused the packet; with a lease out, it counts at the end of the lease
    GivenUp,     // caller: the worker has ended, or the last read does not come back
};

// The task of the thread that gave the input.
enum class WatchTask {
    Nothing,
    PostPacket,     // wake the worker
    FirstRead,      // issue the first read
    HandleRead,     // decode, then issue the next read
    HandleLastRead, // decode, then Finish(Stopped)
    CloseDirectory, // done by the record itself: the pending read comes back
    ReportError,    // report that there is no further read; the stop goes on
    FinishStopped,  // Finish(Stopped)
    FinishFailed,   // Finish(Failed)
    FinishUnheard,  // Finish(Unheard)
    ForgetKey,      // a read that was given up has come back: nothing refers to its buffer any more
};

struct WatchStep {
    RunningState next;
    WatchTask task;
};

struct WatchTransition {
    RunningState state;
    WatchInput input;
    enum { Any, Pending, None } read; // whether a read is pending
    WatchStep step;
};

// Inputs that have no row change nothing: packets that come late, a stop that was asked for before.
inline constexpr WatchTransition WatchTransitions[] = {
    {StateNotSet, WatchInput::StartAsked, WatchTransition::Any, {StateStartMonitoring, WatchTask::PostPacket}},
    {StateNotSet, WatchInput::StopAsked, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    {StateStartMonitoring, WatchInput::Packet, WatchTransition::Any, {StateRunning, WatchTask::FirstRead}},
    {StateStartMonitoring, WatchInput::PostRefused, WatchTransition::Any, {StateEnded, WatchTask::FinishUnheard}},
    {StateStartMonitoring, WatchInput::StopAsked, WatchTransition::Any, {StateStopMonitoring, WatchTask::PostPacket}},
    {StateStartMonitoring, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishUnheard}},

    {StateRunning, WatchInput::ReadBack, WatchTransition::Any, {StateRunning, WatchTask::HandleRead}},
    {StateRunning, WatchInput::ReadRefused, WatchTransition::Any, {StateEnded, WatchTask::FinishFailed}},
    {StateRunning, WatchInput::StopAsked, WatchTransition::Any, {StateStopMonitoring, WatchTask::PostPacket}},
    {StateRunning, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    // A read that comes before the stop is handled as ever: the next one brings what the system has gathered meanwhile.
    {StateStopMonitoring, WatchInput::ReadBack, WatchTransition::Any, {StateStopMonitoring, WatchTask::HandleRead}},
    {StateStopMonitoring, WatchInput::ReadRefused, WatchTransition::Any, {StateStopMonitoring, WatchTask::ReportError}},
    {StateStopMonitoring, WatchInput::Packet, WatchTransition::Pending, {StateStopped, WatchTask::CloseDirectory}},
    {StateStopMonitoring, WatchInput::Packet, WatchTransition::None, {StateEnded, WatchTask::FinishStopped}},
    {StateStopMonitoring, WatchInput::PostRefused, WatchTransition::Pending, {StateStopped, WatchTask::CloseDirectory}},
    {StateStopMonitoring, WatchInput::PostRefused, WatchTransition::None, {StateEnded, WatchTask::FinishStopped}},
    {StateStopMonitoring, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    {StateStopped, WatchInput::ReadBack, WatchTransition::Any, {StateEnded, WatchTask::HandleLastRead}},
    {StateStopped, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    {StateEnded, WatchInput::ReadBack, WatchTransition::Any, {StateEnded, WatchTask::ForgetKey}},
};

constexpr WatchStep NextStep(RunningState state, WatchInput input, bool readPending)
{
    const auto read = readPending ? WatchTransition::Pending : WatchTransition::None;
    for (const WatchTransition& row : WatchTransitions)
        if (row.state == state && row.input == input && (row.read == WatchTransition::Any || row.read == read))
            return row.step;
    return {state, WatchTask::Nothing};
}

// How a watch ends. This decides the last event of its handler.
enum class WatchEnding {
    Stopped, // OnWatchStopped
    Failed,  // OnReadChangesError with the error, or OnWatchStarted when the first read failed
    Unheard, // none: the worker has never seen the watch
};

class EngineRun;
class WatchEngine;

class CDirWatchInfo final : public std::enable_shared_from_this<CDirWatchInfo>,
                            private ChangeRecordSink,
                            private FenceListener
{
public:
    static constexpr DWORD BufferSize = 0x100000;
    static constexpr DWORD NetworkBufferSize = 0x10000; // a network share refuses more
    static constexpr DWORD ChangeFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                                          FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
    static_assert(ChangeFilter == 27);

    // Takes ownership of the directory handle, and a reference on the handler, when it does not throw.
    CDirWatchInfo(std::shared_ptr<WatchEngine> engine, ChangeIo& io, HANDLE directory, const wchar_t* name,
                  CDirectoryChangeHandler* handler, bool appHasGui, DWORD filterFlags);
    ~CDirWatchInfo();
    CDirWatchInfo(const CDirWatchInfo&) = delete;
    CDirWatchInfo& operator=(const CDirWatchInfo&) = delete;

    // Returns how many records the process has. For tests.
    static int LiveCount() { return s_liveCount; }

    // Constant.
    WatchEngine& Engine() const { return *m_engine; }
    const CString& Name() const { return m_name; }
    CDelayedDirectoryChangeHandler& Handler() { return m_handler; }

    // Before the watch is begun.
    HANDLE Directory() const { return m_directory; }
    void Join(std::shared_ptr<EngineRun> run, ULONG_PTR key);
    EngineRun& Run() const { return *m_run; }
    ULONG_PTR Key() const { return m_key; }

    // Any thread.
    RunningState State() const;
    bool IsStopAsked() const;
    // Gives an input of a caller. `workerHasEnded`: a lease of the worker counts for nothing.
    WatchStep Take(WatchInput input, bool workerHasEnded = false);
    bool PostPacket();
    // Posts the last events and the fence. For the thread that has brought the watch to StateEnded, once.
    void Finish(WatchEnding ending, DWORD error);
    HANDLE Drained() const { return m_handler.Drained(); }
    HANDLE Idle() const { return m_handler.Idle(); }
    HANDLE Started() const { return m_started; }
    DWORD StartResult() const { return m_startResult; } // once Started is set

    // The caller's handler, whose watch this is; null once it was destroyed from inside an event.
    const CDirectoryChangeHandler* Owner() const { return m_owner; }
    // The handler is being destroyed. Returns false when the record lets go of it at this moment.
    bool ForgetOwner();

    // Worker: gives an input and takes the lease.
    WatchStep BeginLease(WatchInput input);
    // Worker: gives the lease back and returns false; or, when the packet of a stop was refused meanwhile, keeps it and
    // returns true with the next step.
    bool EndLease(WatchStep& step);

    // Worker, with the lease: true for the packet of a read, false for one that a caller has posted. (Without it, too.)
    bool IsRead(const OVERLAPPED* overlapped) const { return overlapped == &m_overlapped; }
    // Issues the next read, behind the carried old name if there is one. Returns 0 or the error.
    DWORD Read();
    // Decodes the buffer and posts the changes. Returns false when some were lost for want of memory.
    bool Process(DWORD bytes);
    // Reports that changes were lost. A carried old name gets no successor any more.
    void ReportLoss();
    // Reports that there is no further read, as the failure of the start when the watch had not started.
    void ReportError(DWORD error);
    // Returns whether a last read without changes was lost for another reason than the closed directory.
    bool LastReadWasLost() const;
    // The first read was issued, or has failed.
    void SetStartResult(DWORD error);

    // Guarded by the section of the engine: the handler counts this watch.
    bool linked = false;
    // EndingWatches uses these, guarded by its section.
    std::shared_ptr<CDirWatchInfo> nextEnding;
    unsigned long long endingNumber = 0;
    // Guarded by the lease. The number of successive reads without a change.
    int uselessReads = 0;

private:
    void DropCarried();
    void CloseDirectory();
    void LetHandlerGo();
    WatchStep TakeInside(WatchInput input) ORB_REQUIRES(m_section);
    void OnDrained() noexcept override;
    std::shared_ptr<const void> OnIdle() noexcept override;
    void Added(const wchar_t* path) override { m_handler.OnFileAdded(path); }
    void Removed(const wchar_t* path) override { m_handler.OnFileRemoved(path); }
    void Modified(const wchar_t* path) override { m_handler.OnFileModified(path); }
    void Renamed(const wchar_t* oldPath, const wchar_t* newPath) override
    {
        m_handler.OnFileNameChanged(oldPath, newPath);
    }

    static inline std::atomic<int> s_liveCount{0};

    // Constant after Join.
    const std::shared_ptr<WatchEngine> m_engine;
    ChangeIo& m_io;
    const CString m_name;
    std::shared_ptr<EngineRun> m_run;
    ULONG_PTR m_key = 0;

    CDelayedDirectoryChangeHandler m_handler;
    std::atomic<const CDirectoryChangeHandler*> m_owner;

    mutable RankedSection m_section{LockRank::EngineRecord, L"engine record"};
    RunningState m_state ORB_GUARDED_BY(m_section) = StateNotSet;
    bool m_leased ORB_GUARDED_BY(m_section) = false;
    bool m_packetRefused ORB_GUARDED_BY(m_section) = false; // during the lease

    // Guarded by the lease.
    HANDLE m_directory;
    DWORD m_carry = 0;
    DWORD m_bufferSize = BufferSize;
    bool m_completedBeforeClose = false;
    std::atomic<bool> m_readPending{false};
    DWORD m_startResult = ERROR_OPERATION_ABORTED;
    CEvent m_started{false, true};
    OVERLAPPED m_overlapped = {};
    OVERLAPPED m_control = {}; // of the packets that callers post
    alignas(8) std::array<std::uint8_t, BufferSize> m_buffer;
};

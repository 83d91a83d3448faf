// One watched directory: its handle, its buffer, and where its watch stands.
//
// The worker reads; whoever has taken the record out of the watcher's array
// stops and destroys it. The state, and who is at the record, are guarded by its
// section; the rest belongs to the worker during its visits, and to whoever has
// taken the record over from it.
#pragma once

#include "directory_changes/ChangeRecords.h"
#include "directory_changes/DelayedDirectoryChangeHandler.h"
#include "directory_changes/DirectoryChanges.h"

#include <array>

enum RunningState : DWORD {
    StateNotSet = 0,
    StateStartMonitoring = 1,
    StateStopMonitoring = 2,
    StateStopped = 3,
    StateRunning = 5,
};

struct EngineRun;

// What became of a stop whose packet the system refused.
enum class ClosedWithoutWorker {
    NotYet,        // the worker is at the record
    ReadComesBack, // to the worker, which ends the watch
    NothingComes,  // the record is the caller's
};

class CDirWatchInfo final : private ChangeRecordSink
{
public:
    static constexpr DWORD BufferSize = 0x100000;
    // A network share refuses more.
    static constexpr DWORD NetworkBufferSize = 0x10000;
    static constexpr DWORD ChangeFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                                          FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
    static_assert(ChangeFilter == 27);

    // Takes the directory handle and a reference on the handler.
    CDirWatchInfo(ChangeIo& io, HANDLE directory, const wchar_t* name, CDirectoryChangeHandler* handler, bool appHasGui,
                  DWORD filterFlags);
    ~CDirWatchInfo();
    CDirWatchInfo(const CDirWatchInfo&) = delete;
    CDirWatchInfo& operator=(const CDirWatchInfo&) = delete;

    const CString& Name() const { return m_name; }
    HANDLE Directory() const { return m_directory; }
    CDelayedDirectoryChangeHandler& Handler() { return m_handler; }
    CDirectoryChangeHandler* RealHandler() const { return m_handler.RealHandler(); }

    ULONG_PTR Key() const { return m_key; }
    const EngineRun& Run() const { return *m_run; }
    void Join(std::shared_ptr<EngineRun> run, ULONG_PTR key);

    // The worker's time at the record, a packet long. False when the record was taken over from it.
    class Visit
    {
    public:
        explicit Visit(CDirWatchInfo& record);
        ~Visit();
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;
        explicit operator bool() const { return m_welcome; }

    private:
        CDirWatchInfo& m_record;
        bool m_welcome;
    };

    RunningState State() const;
    // Each sets the state and posts a packet for it in one step. False when the post failed, and when a stop
    // has overtaken the start. A stop that is on its way already needs no packet.
    bool AskToStart();
    bool AskToStop();
    // For a stopper whose packet was refused.
    ClosedWithoutWorker CloseWithoutWorker();
    // For a stopper who has waited in vain. False when the worker is at the record, or has just ended it.
    bool TakeFromWorker();
    // Moves on only from the state that was expected: whoever asked for a stop meanwhile is not overruled.
    bool MoveOn(RunningState from, RunningState to);

    // True for the packet of a read, false for one that was asked for.
    bool IsRead(const OVERLAPPED* overlapped) const { return overlapped == &m_overlapped; }
    // Issues the next read behind what is carried; 0 or the error.
    DWORD Read();
    bool ReadPending() const { return m_readPending; }
    void ReadCompleted() { m_readPending = false; }
    // Hands what was read to the handler. False when some of it was lost for want of memory.
    bool Process(DWORD bytes);
    // Changes were lost: what is carried gets no successor any more.
    void DropCarried();
    // Closes the directory; a pending read comes back, cancelled or with what it had got before.
    void CloseForStop();
    // For a read that came back from a closed directory without a change: whether closing is not the reason.
    bool LastReadWasLost() const;
    void CloseDirectory();
    // Hands everything that is queued to the handler and lets handler and notifier go. For whoever has taken
    // the record out; the object itself may outlive this until its last packet has come.
    void Retire();
    bool IsOpen() const { return m_directory != INVALID_HANDLE_VALUE; }

    CEvent& Started() { return m_started; }
    CEvent& Stopped() { return m_stopped; }
    DWORD StartResult() const { return m_startResult; }
    void SetStartResult(DWORD error) { m_startResult = error; }

    // Set while the record is in the watcher's array, under the array's lock: the handler counts this watch.
    bool linked = false;
    // Completions that failed one after the other, since the last good one.
    int failedCompletions = 0;

private:
    bool Post();
    void Added(const wchar_t* path) override { m_handler.OnFileAdded(path); }
    void Removed(const wchar_t* path) override { m_handler.OnFileRemoved(path); }
    void Modified(const wchar_t* path) override { m_handler.OnFileModified(path); }
    void Renamed(const wchar_t* oldPath, const wchar_t* newPath) override
    {
        m_handler.OnFileNameChanged(oldPath, newPath);
    }

    ChangeIo& m_io;
    CDelayedDirectoryChangeHandler m_handler;
    HANDLE m_directory;
    const CString m_name;
    std::shared_ptr<EngineRun> m_run;
    ULONG_PTR m_key = 0;
    DWORD m_carry = 0;
    DWORD m_bufferSize = BufferSize;
    OVERLAPPED m_overlapped = {};
    OVERLAPPED m_control = {}; // of the packets that are asked for
    std::atomic<bool> m_readPending{false};
    bool m_completedBeforeClose = false;
    DWORD m_startResult = 0;
    mutable RankedSection m_section{LockRank::EngineRecord, L"engine record"};
    CEvent m_started{false, true};
    CEvent m_stopped{false, true};
    RunningState m_state = StateNotSet; // guarded by m_section
    bool m_visited = false;             // by the worker; guarded by m_section
    bool m_takenOver = false;           // the worker is not to come any more; guarded by m_section
    alignas(8) std::array<std::uint8_t, BufferSize> m_buffer;
};

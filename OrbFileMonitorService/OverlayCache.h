// One client's connection to the service that draws overlay icons in the shell.
//
// It connects with the first request and drops the connection after any time-out;
// the next request connects again. A request takes the turn, which one client on
// the machine has at a time, puts itself into the shared block, and waits for the
// answer: 300 ms at most for either. Without a service it fails at once. A service that
// is there and does not answer is left alone for a growing time, a minute at most: what
// would have been told it meanwhile is not told later.
//
// Requests may come from any thread. Failures go to the log.
#pragma once

#include "OrbFileMonitorService/OverlayBlock.h"
#include "OrbFileMonitorService/OverlayLine.h"
#include "OrbFileMonitorService/OverlayWaiter.h"
#include "support/GrowingPause.h"
#include "support/RankedSection.h"

class OverlayCache
{
public:
    static constexpr DWORD TurnLimit = 300;   // milliseconds
    static constexpr DWORD AnswerLimit = 300; // milliseconds
    // A service that is there and does not answer must not slow every change down. Twice in a row may be an accident.
    static constexpr int MostTimeouts = 3;
    static constexpr std::chrono::seconds FirstPause{1}, LongestPause{60};

    OverlayCache() = default;
    explicit OverlayCache(OverlayWaiter& waiter) : m_waiter(&waiter) {}
    OverlayCache(const OverlayCache&) = delete;
    OverlayCache& operator=(const OverlayCache&) = delete;

    // True when connected.
    bool Connect();
    // True when the service has answered in time; at once false while a pause goes on after time-outs; GetStatus then
    // fills `status`. A kind that is neither goes to the service without path and status. Paths of 1,024 units and more
    // are refused.
    bool Request(OverlayRequest kind, const wchar_t* path, std::int32_t& status);
    void Disconnect();

    OverlayWaiter& Waiter() const { return *m_waiter; }
    // Before the first request.
    void WaitWith(OverlayWaiter& waiter) { m_waiter = &waiter; }

private:
    using LinePtr = std::shared_ptr<OverlayLine>;

    LinePtr ConnectedLine();
    bool Put(const OverlayLine& line, OverlayRequest kind, const wchar_t* path, std::int32_t status);
    void Finish(const OverlayLine& line, OverlayRequest kind, std::int32_t& status);
    void Drop(const LinePtr& line);
    bool IsPausing();
    void NoteTimeout(const LinePtr& line);
    void NoteAnswer();

    OverlayWaiter* m_waiter = &SystemOverlayWaiter();
    RankedSection m_section{LockRank::Leaf, L"overlay connection"};
    LinePtr m_line; // null: not connected; guarded by m_section
    // Opened once and kept over reconnects: a thread may be waiting for it. Guarded by m_section until it is open.
    KernelHandle m_response;
    GrowingPause m_pause{MostTimeouts, FirstPause, LongestPause}; // guarded by m_section
};

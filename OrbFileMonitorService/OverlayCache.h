// One client's connection to the service that draws overlay icons in the shell.
//
// The first request connects. After any time-out the connection is dropped, and the next request connects again. A
// request waits for the turn, which one client on the machine has at a time, puts itself into the shared block, and
// waits for the answer: 300 ms at most for each wait. Without a service it fails at once, and so it does when the block
// belongs to an account that is not trusted: a program of another user would learn the names of all changed files.
//
// A service that exists and does not answer, or is not trusted, gets no requests for a growing time, a minute at most.
// A service that does not run is looked for once a second at most. A request that falls into such a pause fails at once
// and logs nothing (OverlayPauses).
//
// Any thread may make requests. Failures go to the log.
#pragma once

#include "OrbFileMonitorService/OverlayBlock.h"
#include "OrbFileMonitorService/OverlayLine.h"
#include "OrbFileMonitorService/OverlayPauses.h"
#include "OrbFileMonitorService/OverlayWaiter.h"
#include "support/RankedSection.h"

class OverlayCache
{
public:
    static constexpr DWORD TurnLimit = 300;   // milliseconds
    static constexpr DWORD AnswerLimit = 300; // milliseconds
    static constexpr int MostTimeouts = OverlayPauses::MostTimeouts;

    OverlayCache() = default;
    explicit OverlayCache(OverlayWaiter& waiter) : m_waiter(&waiter) {}
    OverlayCache(const OverlayCache&) = delete;
    OverlayCache& operator=(const OverlayCache&) = delete;

    // Returns true when connected.
    bool Connect();
    // Returns true when the service has answered in time; GetStatus then fills `status`. Returns false at once during a
    // pause. A kind other than these two goes to the service without path and status. Paths of 1,024 units and more are
    // refused.
    bool Request(OverlayRequest kind, const wchar_t* path, std::int32_t& status);
    void Disconnect();

    // Returns the status that SetStatus sends: that of an excluded shortcut is another one.
    static std::int32_t StatusToSend(const wchar_t* path, std::int32_t status);

    // Returns how long requests fail at once; 0 when the next one is sent.
    std::chrono::milliseconds PauseLeft() const;
    // Returns true during the pause after a request that found no service.
    bool IsServiceAbsent() const { return m_pauses.IsAbsent(m_waiter->Now()); }

    OverlayWaiter& Waiter() const { return *m_waiter; }
    // Sets the waiter. Call it before the first request.
    void WaitWith(OverlayWaiter& waiter) { m_waiter = &waiter; }

private:
    using LinePtr = std::shared_ptr<OverlayLine>;

    LinePtr ConnectedLine();
    bool Put(const OverlayLine& line, OverlayRequest kind, const wchar_t* path, std::int32_t status);
    void Finish(const OverlayLine& line, OverlayRequest kind, std::int32_t& status);
    void Drop(const LinePtr& line);
    void NoteTimeout(const LinePtr& line);
    bool GiveUp(const LinePtr& line, const wchar_t* path, std::int32_t status, const wchar_t* error, int sourceLine);

    OverlayWaiter* m_waiter = &SystemOverlayWaiter();
    OverlayPauses m_pauses;
    RankedSection m_section{LockRank::Leaf, L"overlay connection"};
    LinePtr m_line ORB_GUARDED_BY(m_section); // null: not connected
    // Opened once and kept over reconnects, because a thread may be waiting for it. Guarded by m_section until it is
    // open.
    KernelHandle m_response;
};

#include "OrbFileMonitorService/OverlayCache.h"

#include "companions/logging/OrbLogging.h"
#include "support/CaseFold.h"

#include <shlwapi.h>

#include <algorithm>
#include <cwchar>

namespace
{

class SystemWaiter final : public OverlayWaiter
{
public:
    DWORD Wait(HANDLE event, DWORD milliseconds) override { return WaitForSingleObject(event, milliseconds); }
};

bool CarriesPath(OverlayRequest kind) { return kind == OverlayRequest::SetStatus || kind == OverlayRequest::GetStatus; }

bool IsShortcut(const wchar_t* path) { return EqualNoCase(PathFindExtensionW(path), L".lnk"); }

// Logs a failed request; always returns false.
bool Failed(const wchar_t* format, const wchar_t* path, std::int32_t status, const wchar_t* error, int line)
{
    g_OrbLog.Log(format, path, status);
    g_OrbLog.WriteLog(2, L"OrbWatcher", line, error);
    return false;
}

constexpr const wchar_t* NotEntered = L"Request: Path=%s Status=%d";
constexpr const wchar_t* Entered = L"Request: Path->%s Status->%d";

} // namespace

OverlayWaiter& SystemOverlayWaiter()
{
    static SystemWaiter waiter;
    return waiter;
}

bool OverlayCache::Connect() { return ConnectedLine() != nullptr; }

OverlayCache::LinePtr OverlayCache::ConnectedLine()
{
    {
        const CSingleLock lock(m_section);
        if (m_line)
            return m_line;
    }
    // The settings, which give the names, come before this lock in the lock order.
    const OverlayNames names = OverlayNames::OfThisInstallation();
    const GrowingPause::Time now = m_waiter->Now();
    bool present = false;
    {
        const CSingleLock lock(m_section);
        if (m_line)
            return m_line;
        if (!m_response)
            m_response = OpenOverlayEvent(names.response);
        const LinePtr line = m_response ? OpenOverlayLine(names) : nullptr;
        if (line && line->trusted)
            return m_line = line;
        present = line != nullptr;
    }
    if (!present) {
        m_pauses.NoteAbsent(now);
        return nullptr;
    }
    m_pauses.NoteTimeout(now);
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"The overlay block belongs to an account that is not trusted. No path is written into it");
    return nullptr;
}

void OverlayCache::Disconnect()
{
    const CSingleLock lock(m_section);
    m_line.reset();
}

// Another thread may already have dropped this connection and made a new one.
void OverlayCache::Drop(const LinePtr& line)
{
    const CSingleLock lock(m_section);
    if (m_line == line)
        m_line.reset();
}

std::chrono::milliseconds OverlayCache::PauseLeft() const
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_pauses.Until() - m_waiter->Now());
    return std::max(left, std::chrono::milliseconds(0));
}

void OverlayCache::NoteTimeout(const LinePtr& line)
{
    Drop(line);
    const std::chrono::seconds pause = m_pauses.NoteTimeout(m_waiter->Now());
    if (pause.count() > 0)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"The overlay service does not answer. It is told nothing for %d s", int(pause.count()));
}

// Ends a request that was not answered. Always returns false.
bool OverlayCache::GiveUp(const LinePtr& line, const wchar_t* path, std::int32_t status, const wchar_t* error,
                          int sourceLine)
{
    NoteTimeout(line);
    return Failed(Entered, path, status, error, sourceLine);
}

std::int32_t OverlayCache::StatusToSend(const wchar_t* path, std::int32_t status)
{
    return status == OverlayStatus::Excluded && IsShortcut(path) ? OverlayStatus::ExcludedShortcut : status;
}

bool OverlayCache::Request(OverlayRequest kind, const wchar_t* path, std::int32_t& status)
{
    const wchar_t* text = path ? path : L"";
    if (PauseLeft().count() > 0)
        return false;
    if (CarriesPath(kind) && std::wcslen(text) >= OverlayBlock::PathUnits)
        return Failed(NotEntered, text, status, L"The path is too long for the overlay service", __LINE__);
    const LinePtr line = ConnectedLine();
    if (!line)
        return Failed(NotEntered, text, status,
                      L"Request failed to enter processing queue due to overlay deinitialized", __LINE__);
    const DWORD turn = m_waiter->Wait(line->token.Get(), TurnLimit);
    if (turn == OverlayWaiter::Stopped)
        return false;
    if (turn == WAIT_TIMEOUT)
        return GiveUp(line, text, status, L"Overlay Request timedout", __LINE__);
    // The turn is not given back here: the service takes it back when it sees no request.
    if (!Put(*line, kind, text, status))
        return Failed(Entered, text, status, L"MemPtr deleted", __LINE__);
    const DWORD answer = m_waiter->Wait(m_response.Get(), AnswerLimit);
    if (answer == WAIT_OBJECT_0) {
        Finish(*line, kind, status);
        m_pauses.NoteAnswer();
        return true;
    }
    SetEvent(line->token.Get());
    if (answer != OverlayWaiter::Stopped)
        return GiveUp(line, text, status, L"Overlay Response timedout", __LINE__);
    Drop(line); // the answer that is still to come is none to the next request
    return false;
}

// Returns false when another thread dropped the connection while this one waited for its turn.
bool OverlayCache::Put(const OverlayLine& line, OverlayRequest kind, const wchar_t* path, std::int32_t status)
{
    const CSingleLock lock(m_section);
    if (!m_line)
        return false;
    // A late answer to an earlier request is not the answer to this one.
    ResetEvent(m_response.Get());
    OverlayBlock& block = *line.view.Block();
    if (CarriesPath(kind)) {
        block.kind = static_cast<std::int32_t>(kind);
        std::copy_n(path, std::wcslen(path) + 1, block.path);
    }
    if (kind == OverlayRequest::SetStatus)
        block.status = StatusToSend(path, status);
    SetEvent(line.request.Get());
    return true;
}

void OverlayCache::Finish(const OverlayLine& line, OverlayRequest kind, std::int32_t& status)
{
    const CSingleLock lock(m_section);
    if (kind == OverlayRequest::GetStatus)
        status = line.view.Block()->kind;
    SetEvent(line.token.Get());
}

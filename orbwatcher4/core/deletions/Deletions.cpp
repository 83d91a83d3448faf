#include "orbwatcher4/core/deletions/Deletions.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/WatcherThread.h"

#include <utility>

namespace
{

constexpr std::int64_t QuietSeconds = 5;
constexpr std::int64_t LongestWait = 60; // seconds

} // namespace

void Deletions::ProcessNow()
{
    const COrbFuncLog guard(L"COrbWatcher::ImmediateProcessDeletedFiles");
    // The user may reach drives and shares that the service does not reach.
    const ActingForUser user(m.config.userToken);
    const CSingleLock lock(m_lock);
    NoteProcessing(); // comes first: deletions that come from here on are processed at once
    // The entries stay pending. A file that came back while its record was written counted as unchanged, so it needs a
    // change.
    if (!user.Acts())
        m_left.unsettled = true;
    else if (!Completes(L"The processing of deletions", [this] { DeletionPass(m, m_left, m_listener).Process(); }))
        m_due.MakeFull();
}

void Deletions::ProcessForHandOut()
{
    if (IsDueForHandOut())
        ProcessNow();
}

bool Deletions::IsDueForHandOut()
{
    const CSingleLock lock(m_lock);
    return m.pending.DeletionsNoted() != m_processed || m_forHandOut.IsDue(m.config.clock->Seconds());
}

// A new deletion begins the pauses anew.
void Deletions::NoteProcessing()
{
    if (const std::uint64_t noted = m.pending.DeletionsNoted(); std::exchange(m_processed, noted) != noted)
        m_forHandOut = {};
    m_forHandOut.NoteAttempt(m.config.clock->Seconds());
}

unsigned __stdcall Deletions::RunOnThread(void* deletions)
{
    const WatcherThreadScope scope(DeletedFilesThreadName);
    static_cast<Deletions*>(deletions)->ProcessNow();
    return 0;
}

void Deletions::Begin()
{
    m_lastRequest = 0;
    m_settling = {};
    Completes(L"Looking for exports that wait", [this] {
        m_left.exports = DeletionPass::HasDueExports(m.config.indexDatabase);
        if (m_left.exports)
            m_left.unsettled = true;
    });
}

void Deletions::Pass(std::int64_t now)
{
    // After the clock was set back, the wait starts again.
    m_lastRequest = std::min(m_lastRequest, now);
    m_firstRequest = std::min(m_firstRequest, now);
    if (m_lastRequest > 0)
        StartWhenQuiet(now);
    else
        TryUnsettledAgain(now);
    if (m.pending.deletionRequests.Take())
        NoteRequest(now);
}

void Deletions::NoteRequest(std::int64_t now)
{
    if (m_lastRequest <= 0)
        m_firstRequest = now;
    m_lastRequest = now;
}

// Every request delays the processing, but not for long. Otherwise a process that sets the event again and again, or
// deletes files without end, could delay it for ever.
bool Deletions::IsQuiet(std::int64_t now) const
{
    return now > m_lastRequest + QuietSeconds || now >= m_firstRequest + LongestWait;
}

// Processes after more than five quiet seconds, or a minute after the first request.
void Deletions::StartWhenQuiet(std::int64_t now)
{
    if (!IsQuiet(now))
        return;
    if (IsThreadRunning()) {
        m_lastRequest = now;
        return;
    }
    m_thread = StartWatcherThread(&RunOnThread, this);
    m_lastRequest = 0;
    if (m_thread)
        return;
    NoteRequest(now);
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Deletions wait, no thread can be started: %d", GetLastError());
}

// Tries again after the index was locked or its cache was not loaded.
void Deletions::TryUnsettledAgain(std::int64_t now)
{
    if (IsThreadRunning())
        return;
    if (!m_left.unsettled)
        m_settling = {};
    else if (m_settling.IsDue(now)) {
        m_settling.NoteAttempt(now);
        NoteRequest(now);
    }
}

void Deletions::Join() { JoinWatcherThread(m_thread, DeletedFilesThreadName); }

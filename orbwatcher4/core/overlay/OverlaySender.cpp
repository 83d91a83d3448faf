#include "orbwatcher4/core/overlay/OverlaySender.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/WatcherThread.h"

namespace
{

constexpr DWORD PauseAfterFailure = 1000; // milliseconds

} // namespace

OverlaySender::OverlaySender(const Config& config, OverlayCache& connection, CSignal& stop)
    : m_config(config),
      m_connection(connection),
      m_stop(stop)
{
}

OverlaySender::~OverlaySender()
{
    m_stop.SetEvent();
    Join();
}

void OverlaySender::Set(const CString& path, std::int32_t status) noexcept
{
    Post([&] {
        m_lock.RequireHeld();
        return m_unsent.Set(path, status);
    });
}

void OverlaySender::AddModification(const CString& path) noexcept
{
    Post([&] {
        m_lock.RequireHeld();
        return m_unsent.AddModification(path);
    });
}

// Only the first status wakes the thread. While it sends, it finds the later ones by itself.
template <typename Change>
void OverlaySender::Post(Change change) noexcept
{
    bool isFirst = false, beginsToDrop = false;
    Completes(L"Noting an overlay status", [&] {
        const CSingleLock lock(m_lock);
        isFirst = m_unsent.Size() == 0;
        const bool hadRoom = change();
        beginsToDrop = !hadRoom && !m_isDropping;
        m_isDropping = m_isDropping || !hadRoom;
        if (!m_thread && !m_stop.IsSet())
            StartThread();
    });
    if (isFirst)
        m_news.SetEvent();
    if (beginsToDrop)
        g_OrbLog.WriteLog(1, L"OrbWatcher", __LINE__, L"The overlay service is slow. The oldest statuses are dropped");
}

void OverlaySender::StartThread()
{
    m_lock.RequireHeld();
    m_thread = StartWatcherThread(&RunOnThread, this);
    // The next status tries again.
    if (!m_thread && m_unsent.Size() == 1)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the overlay sender: %d", GetLastError());
}

void OverlaySender::Join()
{
    KernelHandle thread;
    {
        const CSingleLock lock(m_lock);
        thread = std::move(m_thread);
    }
    JoinWatcherThread(thread, OverlaySenderName);
}

bool OverlaySender::IsRunning() const
{
    const CSingleLock lock(m_lock);
    return m_thread && !IsSignalled(m_thread.Get());
}

bool OverlaySender::IsIdle() const
{
    const CSingleLock lock(m_lock);
    return m_unsent.Size() == 0 && !m_isSending;
}

unsigned __stdcall OverlaySender::RunOnThread(void* sender)
{
    const WatcherThreadScope scope(OverlaySenderName);
    static_cast<OverlaySender*>(sender)->Run();
    return 0;
}

void OverlaySender::Run()
{
    ActingForUser::UntilTheThreadEnds(m_config.userToken);
    while (!m_stop.IsSet()) {
        DWORD pause = PauseAfterFailure;
        Completes(L"The overlay sender", [&] { pause = SendDue(); });
        const HANDLE handles[] = {static_cast<HANDLE>(m_stop), static_cast<HANDLE>(m_news)};
        WaitForMultipleObjects(2, handles, FALSE, pause);
    }
}

DWORD OverlaySender::SendDue()
{
    for (;;) {
        const auto pause = m_connection.PauseLeft();
        const std::optional<UnsentStatuses::Entry> entry = Next(pause.count() == 0 && !m_stop.IsSet());
        if (!entry)
            return IsIdle() ? INFINITE : static_cast<DWORD>(pause.count());
        Tell(*entry);
        if (m_connection.IsServiceAbsent())
            Clear();
    }
}

// Ends the sending of the entry before. Returns the entry to send next, if any may be sent.
std::optional<UnsentStatuses::Entry> OverlaySender::Next(bool maySend)
{
    const CSingleLock lock(m_lock);
    std::optional<UnsentStatuses::Entry> entry;
    if (maySend)
        entry = m_unsent.Take();
    m_isSending = entry.has_value();
    m_isDropping = m_isDropping && m_unsent.Size() > 0;
    return entry;
}

// A modification without a status needs two requests. If one is not answered, the other one is sent all the same.
void OverlaySender::Tell(const UnsentStatuses::Entry& entry)
{
    std::int32_t status = OverlayStatus::ReadStart;
    if (entry.status)
        status = OverlayCache::StatusToSend(entry.path, *entry.status);
    else
        m_connection.Request(OverlayRequest::GetStatus, entry.path, status);
    if (m_stop.IsSet())
        return; // an answer that was not waited for must not become a status
    status = entry.WithModifications(status);
    m_connection.Request(OverlayRequest::SetStatus, entry.path, status);
}

void OverlaySender::Clear() noexcept
{
    const CSingleLock lock(m_lock);
    m_unsent.Clear();
}

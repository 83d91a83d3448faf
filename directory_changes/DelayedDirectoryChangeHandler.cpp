#include "directory_changes/DelayedDirectoryChangeHandler.h"

#include "directory_changes/DelayedNotificationThread.h"
#include "directory_changes/DelayedNotificationWindow.h"
#include "directory_changes/MessagePump.h"

namespace
{

constexpr DWORD WaitSlice = 5000; // milliseconds

std::unique_ptr<CDelayedNotifier> MakeNotifier(bool appHasGui)
{
    if (appHasGui)
        return std::make_unique<CDelayedNotificationWindow>();
    return std::make_unique<CDelayedNotificationThread>();
}

} // namespace

CDelayedDirectoryChangeHandler::CDelayedDirectoryChangeHandler(CDirectoryChangeHandler* realHandler, bool appHasGui,
                                                               DWORD filterFlags, FenceListener* listener)
    : m_waitPumpsMessages(appHasGui),
      m_notifier(MakeNotifier(appHasGui)),
      m_delivery(realHandler, filterFlags),
      m_fence(*this, *m_notifier, listener),
      m_poster(*this, *m_notifier, m_fence)
{
}

CDelayedDirectoryChangeHandler::~CDelayedDirectoryChangeHandler()
{
    delete m_delivery.TakeHandler();
    m_notifier.reset(); // before the parts that its thread may still use
}

void CDelayedDirectoryChangeHandler::Prepare(const CString& directory)
{
    m_fence.Reserve();
    m_poster.Prepare(directory, m_delivery.Filter().PartialPathOffset(directory.View()));
    m_delivery.SetDirectory(directory);
}

void CDelayedDirectoryChangeHandler::OnFileAdded(const wchar_t* path) { m_poster.Post(EventAdded, path); }
void CDelayedDirectoryChangeHandler::OnFileRemoved(const wchar_t* path) { m_poster.Post(EventRemoved, path); }
void CDelayedDirectoryChangeHandler::OnFileModified(const wchar_t* path) { m_poster.Post(EventModified, path); }

void CDelayedDirectoryChangeHandler::OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath)
{
    m_poster.Post(EventRenamed, oldPath, newPath);
}

void CDelayedDirectoryChangeHandler::OnReadChangesError(DWORD error, const wchar_t* directory)
{
    m_poster.Post(EventReadError, directory, nullptr, error);
}

void CDelayedDirectoryChangeHandler::OnWatchStarted(DWORD error, const wchar_t* directory)
{
    if (m_delivery.Filter().Wants(EventWatchStarted))
        m_poster.Post(EventWatchStarted, directory, nullptr, error);
}

bool CDelayedDirectoryChangeHandler::PostWatchStopped(const wchar_t* directory)
{
    return m_delivery.Filter().Wants(EventWatchStopped) && m_poster.Post(EventWatchStopped, directory);
}

// Waits no longer than there is a notifier.
void CDelayedDirectoryChangeHandler::OnWatchStopped(const wchar_t* directory)
{
    constexpr DWORD allButSent = QS_ALLINPUT & ~QS_SENDMESSAGE;
    m_stopAcknowledged.ResetEvent();
    if (!PostWatchStopped(directory))
        return;
    // On the notifier's own thread, no other thread dispatches what is queued.
    const bool pump = m_waitPumpsMessages || m_notifier->IsNotifierThread();
    const auto isAcknowledged = [&] {
        return pump ? WaitPumping(m_stopAcknowledged, WaitSlice, allButSent) : m_stopAcknowledged.Lock(WaitSlice);
    };
    while (!isAcknowledged() && !m_notifier->HasEnded()) {
    }
}

void CDelayedDirectoryChangeHandler::Dispatch(const DelayedEvent& event) noexcept
{
    if (event.code == EventFence)
        return m_fence.Pass(true);
    m_fence.BeginEvent();
    m_poster.RearmLossReport(event);
    m_delivery.Deliver(event);
    // Whatever the handler has done, a thread that waits for the stop goes on.
    if (event.code == EventWatchStopped)
        m_stopAcknowledged.SetEvent();
    m_fence.EndEvent();
}

#include "directory_changes/EventDelivery.h"

void EventDelivery::Deliver(const DelayedEvent& event) noexcept
{
    if (event.code == EventWatchStopped)
        return DeliverStopped(event);
    try {
        if (CDirectoryChangeHandler* handler = m_handler; handler && m_filter.Passes(*handler, event))
            Call(*handler, event);
    } catch (...) {
        ReportFailure();
    }
}

// A handler that failed with a change has lost it; the thread serves other handlers, too.
void EventDelivery::ReportFailure() noexcept
{
    CDirectoryChangeHandler* const handler = m_handler;
    if (!handler || m_directory.IsEmpty())
        return;
    try {
        handler->OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, m_directory);
    } catch (...) {
        // The handler refuses the report as well.
    }
}

void EventDelivery::Call(CDirectoryChangeHandler& handler, const DelayedEvent& event)
{
    switch (event.code) {
    case EventAdded:
        return handler.OnFileAdded(event.firstPath);
    case EventRemoved:
        return handler.OnFileRemoved(event.firstPath);
    case EventModified:
        return handler.OnFileModified(event.firstPath);
    case EventRenamed:
        return handler.OnFileNameChanged(event.firstPath, event.secondPath);
    case EventReadError:
        return handler.OnReadChangesError(event.error, event.firstPath);
    case EventWatchStarted:
        return handler.OnWatchStarted(event.error, event.firstPath);
    default:
        return;
    }
}

void EventDelivery::DeliverStopped(const DelayedEvent& event)
{
    try {
        if (CDirectoryChangeHandler* handler = m_handler)
            handler->OnWatchStopped(event.firstPath);
    } catch (...) {
        MessageBeep(0xFFFF);
        MessageBeep(0xFFFF);
    }
}

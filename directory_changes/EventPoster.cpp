#include "directory_changes/EventPoster.h"

void EventPoster::Prepare(const CString& directory, DWORD offset)
{
    m_lost = ReserveDelayedEvent(&m_handler, EventReadError, directory, ERROR_NOTIFY_ENUM_DIR);
    m_partialPathOffset = offset;
}

bool EventPoster::Post(EventCode code, const wchar_t* first, const wchar_t* second, DWORD error)
{
    if (m_fence.IsPosted())
        return false;
    if (DelayedEvent* event = MakeDelayedEvent(&m_handler, code, first, second, error, m_partialPathOffset))
        return PostToNotifier(event);
    // There is no memory for an event. A report that is still on its way covers this one, too.
    if (m_lost && !m_lostPosted.exchange(true))
        PostToNotifier(m_lost.get());
    return false;
}

bool EventPoster::PostToNotifier(DelayedEvent* event)
{
    if (m_notifier.PostEvent(event))
        return true;
    m_notifierEnded = true;
    return false;
}

void EventPoster::RearmLossReport(const DelayedEvent& event)
{
    if (&event == m_lost.get())
        m_lostPosted = false;
}

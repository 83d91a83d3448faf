#include "directory_changes/DeliveryFence.h"

void DeliveryFence::Post()
{
    if (m_posted.exchange(true))
        return;
    DelayedEvent* const fence =
        m_event ? m_event.get() : MakeDelayedEvent(&m_handler, EventFence, L"", nullptr, ERROR_SUCCESS, 0);
    // The object may be gone after a fence that was posted.
    if (!fence || !m_notifier.PostEvent(fence))
        Pass(false);
}

void DeliveryFence::PassOfEndedNotifier()
{
    if (!m_posted || !m_notifier.HasEnded())
        return;
    m_notifier.Close();
    Pass(false);
}

void DeliveryFence::Pass(bool eventsMayBeInProgress)
{
    if (m_passed.exchange(true))
        return;
    if (m_listener)
        m_listener->OnDrained();
    m_drained.SetEvent();
    if (!eventsMayBeInProgress || m_eventsInProgress == 0)
        BecomeIdle();
}

// A handler that waits dispatches events: then they are in progress within one another, the fence included.
void DeliveryFence::EndEvent()
{
    if (--m_eventsInProgress == 0 && m_passed)
        BecomeIdle();
}

// The last step: the listener may have let go of this object by the end.
void DeliveryFence::BecomeIdle()
{
    if (m_isIdle.exchange(true))
        return;
    const std::shared_ptr<const void> alive = m_listener ? m_listener->OnIdle() : nullptr;
    m_notifier.Leave();
    m_idle.SetEvent();
}

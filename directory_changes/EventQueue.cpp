#include "directory_changes/EventQueue.h"

#include <utility>

void EventList::Append(QueuedEvent* event) noexcept
{
    event->next = nullptr;
    (m_last ? m_last->next : m_first) = event;
    m_last = event;
}

QueuedEvent* EventList::RemoveFirst() noexcept
{
    QueuedEvent* const event = m_first;
    if (!event)
        return nullptr;
    m_first = event->next;
    if (!m_first)
        m_last = nullptr;
    return event;
}

EventQueue::Added EventQueue::Add(DelayedEvent* event) noexcept
{
    const CSingleLock lock(m_section);
    if (m_closed)
        return {false, std::nullopt};
    m_added.Append(static_cast<QueuedEvent*>(event));
    ++m_count;
    return {true, m_wakePosted ? std::nullopt : std::optional(m_ticket)};
}

void EventQueue::WakePosted(WakeTicket ticket) noexcept
{
    const CSingleLock lock(m_section);
    m_wakePosted = m_wakePosted || ticket == m_ticket;
}

void EventQueue::ExpectWake() noexcept
{
    ++m_ticket;
    m_wakePosted = false;
}

void EventQueue::BeginDrain() noexcept
{
    const CSingleLock lock(m_section);
    ExpectWake();
}

DelayedEvent* EventQueue::Take() noexcept
{
    if (m_taken.IsEmpty()) {
        const CSingleLock lock(m_section);
        m_taken = std::exchange(m_added, {});
        if (m_taken.IsEmpty())
            ExpectWake();
    }
    QueuedEvent* const event = m_taken.RemoveFirst();
    if (event)
        --m_count;
    return event;
}

bool EventQueue::CloseIfEmpty() noexcept
{
    const CSingleLock lock(m_section);
    m_closed = m_added.IsEmpty() && m_taken.IsEmpty();
    return m_closed;
}

void EventQueue::Close() noexcept
{
    const CSingleLock lock(m_section);
    m_closed = true;
    for (EventList* list : {&m_taken, &m_added})
        while (QueuedEvent* event = list->RemoveFirst()) {
            --m_count;
            FreeDelayedEvent(event);
        }
}

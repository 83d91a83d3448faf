#include "directory_changes/EventQueue.h"

#include <utility>

void EventQueue::List::Append(QueuedEvent* event) noexcept
{
    event->next = nullptr;
    (last ? last->next : first) = event;
    last = event;
}

QueuedEvent* EventQueue::List::RemoveFirst() noexcept
{
    QueuedEvent* const event = first;
    if (!event)
        return nullptr;
    first = event->next;
    if (!first)
        last = nullptr;
    return event;
}

std::optional<unsigned> EventQueue::Add(DelayedEvent* event) noexcept
{
    const CSingleLock lock(m_section);
    m_added.Append(static_cast<QueuedEvent*>(event));
    ++m_count;
    return m_woken ? std::nullopt : std::optional(m_looks);
}

void EventQueue::Woken(unsigned look) noexcept
{
    const CSingleLock lock(m_section);
    m_woken = m_woken || look == m_looks; // otherwise it has looked since, and may have found nothing
}

void EventQueue::Looks() noexcept
{
    const CSingleLock lock(m_section);
    ++m_looks;
    m_woken = false;
}

DelayedEvent* EventQueue::Take() noexcept
{
    if (!m_taken.first) {
        const CSingleLock lock(m_section);
        m_taken = std::exchange(m_added, {});
    }
    QueuedEvent* const event = m_taken.RemoveFirst();
    if (event)
        --m_count;
    return event;
}

// The events that wait for the notifier thread, in the order in which they were posted.
//
// Any thread adds; only the notifier takes. The notifier is woken once for all events that are added before it takes
// them: a wake-up for each event would cost more than the event itself.
#pragma once

#include "directory_changes/DelayedEvent.h"
#include "support/RankedSection.h"

#include <atomic>
#include <cstddef>
#include <optional>

// A list of events without a lock of its own.
class EventList
{
public:
    void Append(QueuedEvent* event) noexcept;
    // Returns null when the list is empty.
    QueuedEvent* RemoveFirst() noexcept;
    bool IsEmpty() const noexcept { return !m_first; }

private:
    QueuedEvent* m_first = nullptr;
    QueuedEvent* m_last = nullptr;
};

class EventQueue
{
public:
    // Identifies the wake-up that an added event asks for.
    using WakeTicket = unsigned;

    struct Added {
        bool taken;                     // false: the queue is closed, and the caller keeps the event
        std::optional<WakeTicket> wake; // the caller has to wake the notifier, and then to call WakePosted
    };

    std::size_t Count() const { return m_count; }
    // Takes ownership of the event. Asks for no memory.
    [[nodiscard]] Added Add(DelayedEvent* event) noexcept;
    // The wake-up has been posted: events that are added before the notifier takes them need none. A ticket that is
    // older than the last time the notifier found the queue empty counts for nothing.
    void WakePosted(WakeTicket ticket) noexcept;
    // The notifier has received a wake-up: events that are added from here on ask for another one.
    void BeginDrain() noexcept;
    // Returns null when the queue is empty. From then on the next event asks for a wake-up, whether or not the last
    // wake-up has arrived. (A message loop that a handler runs swallows wake-ups.)
    DelayedEvent* Take() noexcept;
    // Refuses events from now on. Returns false, and does nothing, when events wait.
    bool CloseIfEmpty() noexcept;
    // Refuses events from now on, and frees those that wait. For the notifier, and for others once it has ended.
    void Close() noexcept;

private:
    void ExpectWake() noexcept ORB_REQUIRES(m_section);

    RankedSection m_section{LockRank::Leaf, L"event queue", 400};
    EventList m_added ORB_GUARDED_BY(m_section);
    WakeTicket m_ticket ORB_GUARDED_BY(m_section) = 0;
    bool m_wakePosted ORB_GUARDED_BY(m_section) = false;
    bool m_closed ORB_GUARDED_BY(m_section) = false;
    EventList m_taken; // of the notifier
    std::atomic<std::size_t> m_count{0};
};

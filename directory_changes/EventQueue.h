// The events that wait for the notifier's thread, in the order in which they were posted.
//
// Any thread adds; one thread takes. The receiver is woken once for all that comes before it looks: a message for each
// event would cost more than the event itself.
#pragma once

#include "directory_changes/DelayedEvent.h"
#include "support/RankedSection.h"

#include <atomic>
#include <cstddef>
#include <optional>

// What was never taken, as the thread was ended from outside, is left alone: its handlers may be gone.
class EventQueue
{
public:
    std::size_t Count() const { return m_count; }
    // Takes the event over; asks for no memory. When the receiver has to be woken for it, the result is for Woken.
    [[nodiscard]] std::optional<unsigned> Add(DelayedEvent* event) noexcept;
    // The receiver has been sent what wakes it: until it looks, nothing else needs to. Whoever is about to send it
    // holds nobody up.
    void Woken(unsigned look) noexcept;
    // The receiver looks: what is added from here on wakes it again.
    void Looks() noexcept;
    // Null when there is none.
    DelayedEvent* Take() noexcept;

private:
    struct List {
        QueuedEvent* first = nullptr;
        QueuedEvent* last = nullptr;

        void Append(QueuedEvent* event) noexcept;
        QueuedEvent* RemoveFirst() noexcept;
    };

    RankedSection m_section{LockRank::Leaf, L"event queue", 400};
    List m_added;         // guarded
    unsigned m_looks = 0; // guarded
    bool m_woken = false; // guarded
    List m_taken;         // the receiver's
    std::atomic<std::size_t> m_count{0};
};

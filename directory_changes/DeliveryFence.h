// The end of a delayed handler: the last event that it posts, and the time at which none of its events is in progress
// any more.
//
// The worker, or the thread that ends the watch in its place, posts. The notifier's thread begins and ends events and
// passes the fence.
#pragma once

#include "directory_changes/DelayedNotifier.h"
#include "mfc/CEvent.h"

#include <atomic>
#include <memory>

// Hears that a fence has been passed. The calls come on the notifier's thread, or on the thread that finds the notifier
// ended; each comes once.
class FenceListener
{
public:
    // Every event that was posted before the fence has been dispatched. An event may still be in progress.
    virtual void OnDrained() noexcept = 0;
    // No event is in progress any more. Returns what keeps the delayed handler alive until Idle is set.
    virtual std::shared_ptr<const void> OnIdle() noexcept = 0;

protected:
    ~FenceListener() = default;
};

class DeliveryFence
{
public:
    // The fence is an event of the handler. All must outlive it; the listener may be null.
    DeliveryFence(CDelayedDirectoryChangeHandler& handler, CDelayedNotifier& notifier, FenceListener* listener)
        : m_handler(handler),
          m_notifier(notifier),
          m_listener(listener)
    {
    }

    // Sets memory aside for the event. Throws std::bad_alloc.
    void Reserve() { m_event = ReserveDelayedEvent(&m_handler, EventFence, L"", ERROR_SUCCESS); }
    // Posts the fence. Asks for no memory when Reserve was called.
    void Post();
    bool IsPosted() const { return m_posted; }
    // Drained: all earlier events were dispatched. Idle: none is in progress either, and the notifier was left.
    HANDLE Drained() const { return m_drained; }
    HANDLE Idle() const { return m_idle; }
    // For a waiting thread: passes the fence when the notifier has ended without dispatching it.
    void PassOfEndedNotifier();

    // On the notifier's thread. The owner may be gone after EndEvent and Pass.
    void BeginEvent() { ++m_eventsInProgress; }
    void EndEvent();
    void Pass(bool eventsMayBeInProgress);

private:
    void BecomeIdle();

    CDelayedDirectoryChangeHandler& m_handler;
    CDelayedNotifier& m_notifier;
    FenceListener* const m_listener;
    ReservedEvent m_event;
    std::atomic<bool> m_posted{false}, m_passed{false}, m_isIdle{false};
    int m_eventsInProgress = 0; // of the notifier's thread
    CEvent m_drained{false, true}, m_idle{false, true};
};

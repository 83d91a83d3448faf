// Packs what the engine reports into events and gives them to a notifier, until the fence is posted.
//
// The worker, or the thread that ends the watch in its place, posts. RearmLossReport: the notifier's thread.
#pragma once

#include "directory_changes/DeliveryFence.h"
#include "mfc/CString.h"

class EventPoster
{
public:
    // The events are the handler's. The arguments must outlive the poster.
    EventPoster(CDelayedDirectoryChangeHandler& handler, CDelayedNotifier& notifier, const DeliveryFence& fence)
        : m_handler(handler),
          m_notifier(notifier),
          m_fence(fence)
    {
    }

    // Before the watch starts: sets memory aside for reporting a change for which there is no memory as lost. `offset`:
    // the partial-path offset of the events. Throws std::bad_alloc.
    void Prepare(const CString& directory, DWORD offset);

    // Returns false when nothing was posted: after the fence, after the notifier's end, or without memory. In the last
    // case the change is reported as lost.
    bool Post(EventCode code, const wchar_t* first, const wchar_t* second = nullptr, DWORD error = 0);
    // Returns true when the notifier has refused an event because it has ended: the handler receives no more events.
    bool HasNotifierEnded() const { return m_notifierEnded; }

    // Call it before the event is delivered. If the event reports lost changes, the next loss is reported again.
    void RearmLossReport(const DelayedEvent& event);

private:
    bool PostToNotifier(DelayedEvent* event);

    CDelayedDirectoryChangeHandler& m_handler;
    CDelayedNotifier& m_notifier;
    const DeliveryFence& m_fence;
    DWORD m_partialPathOffset = 0;
    ReservedEvent m_lost;
    std::atomic<bool> m_lostPosted{false}, m_notifierEnded{false};
};

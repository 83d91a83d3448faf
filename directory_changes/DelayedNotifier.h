// Carries events to the thread that runs handler code.
#pragma once

#include "directory_changes/DelayedEvent.h"

// Tells the receiver that there are events. A message to the hidden window carries one event in lParam, which the
// receiver then owns. A message to the notifier thread carries none: its events wait in a queue. The notifier thread
// takes an event that a message carries all the same.
constexpr UINT WM_DELAYED_EVENT = 0x8400;

// One user of a notifier. The notifier exists as long as it has users. Any thread.
class CDelayedNotifier
{
public:
    virtual ~CDelayedNotifier() = default;
    // Takes ownership of the event. Returns false when the notifier has ended; the event is freed then.
    virtual bool PostEvent(DelayedEvent* event) = 0;
    // Returns true on the thread that runs the handlers.
    virtual bool IsNotifierThread() const = 0;
    // Returns true when the notifier dispatches nothing more.
    virtual bool HasEnded() const = 0;
    // Ends the use, once; nothing may be posted afterwards. The last user ends the notifier, and does not wait for it.
    virtual void Leave() noexcept = 0;
    // Waits until a notifier without users has ended, or has found another user. Not for the notifier's own thread, and
    // not from inside an event.
    virtual void WaitForEnd() noexcept = 0;
    // Refuses events from now on, and frees what is queued. For a notifier that has ended.
    virtual void Close() noexcept = 0;
};

// Returns true while the calling thread runs an event of any notifier.
bool IsInsideEvent() noexcept;

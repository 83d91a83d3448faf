// Carries events to the thread that runs handler code.
#pragma once

#include "directory_changes/DelayedEvent.h"

// Says that there are events. The hidden window's carries one, which then belongs to the receiver, in lParam; the
// notifier thread's carries none: they wait in its queue.
constexpr UINT WM_DELAYED_EVENT = 0x8400;

class CDelayedNotifier
{
public:
    virtual ~CDelayedNotifier() = default;
    // False when the event was dropped (and freed) because the receiver has ended.
    virtual bool PostEvent(DelayedEvent* event) = 0;
    // True on the thread that runs the handlers.
    virtual bool IsNotifierThread() const = 0;
    // True when nothing that was posted will be dispatched any more.
    virtual bool HasEnded() const = 0;
};

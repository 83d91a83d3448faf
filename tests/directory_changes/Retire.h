// Ends a delayed handler that a test has made without a watch.
#pragma once

#include "directory_changes/DelayedDirectoryChangeHandler.h"
#include "directory_changes/MessagePump.h"

// Posts the fence and waits until the notifier, or its end, has passed it. Not from inside an event.
inline void Retire(CDelayedDirectoryChangeHandler& delayed)
{
    constexpr DWORD slice = 5; // milliseconds
    delayed.Fence().Post();
    while (!WaitPumping(delayed.Fence().Idle(), slice))
        delayed.Fence().PassOfEndedNotifier();
    delayed.Notifier().WaitForEnd();
}

#include "directory_changes/MessagePump.h"

#include "directory_changes/DelayedNotificationThread.h"

namespace
{

// False at WM_QUIT, which is put back for the loop that it is meant for.
bool DispatchWaitingMessages()
{
    // The message for what is queued already may have been taken by the dispatch that this wait is part of.
    CDelayedNotificationThread::DispatchQueued();
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(message.wParam));
            return false;
        }
        // A thread message has no window to be dispatched to; dropping it would lose a change.
        if (!message.hwnd && message.message == WM_DELAYED_EVENT)
            CDelayedNotificationThread::Receive(message);
        else
            DispatchMessageW(&message);
    }
    return true;
}

} // namespace

bool WaitPumping(HANDLE handle, DWORD milliseconds, DWORD wakeMask)
{
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (;;) {
        // What is queued already does not wake the wait below.
        if (!DispatchWaitingMessages())
            return WaitForSingleObject(handle, milliseconds) == WAIT_OBJECT_0;
        const ULONGLONG now = GetTickCount64();
        const DWORD left = now < end ? static_cast<DWORD>(end - now) : 0;
        const DWORD result = MsgWaitForMultipleObjects(1, &handle, FALSE, left, wakeMask);
        if (result != WAIT_OBJECT_0 + 1)
            return result == WAIT_OBJECT_0;
    }
}

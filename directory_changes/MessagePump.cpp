#include "directory_changes/MessagePump.h"

#include "directory_changes/DelayedNotificationThread.h"

#include <optional>

namespace
{

// A WM_QUIT belongs to a message loop that lies below the wait.
class HeldQuit
{
public:
    HeldQuit() = default;
    ~HeldQuit()
    {
        if (m_code)
            PostQuitMessage(*m_code);
    }
    HeldQuit(const HeldQuit&) = delete;
    HeldQuit& operator=(const HeldQuit&) = delete;

    void Hold(WPARAM code) { m_code = static_cast<int>(code); }

private:
    std::optional<int> m_code;
};

void DispatchWaitingMessages(HeldQuit& quit)
{
    // The dispatch that this wait is part of may have taken the wake-up for the events that are queued.
    CDelayedNotificationThread::DispatchQueued();
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT)
            quit.Hold(message.wParam);
        // A thread message has no window to be dispatched to; dropping it would lose a change.
        else if (!message.hwnd && message.message == WM_DELAYED_EVENT)
            CDelayedNotificationThread::Receive(message);
        else
            DispatchMessageW(&message);
    }
}

} // namespace

int WaitPumping(std::span<const HANDLE> handles, DWORD milliseconds, DWORD wakeMask)
{
    HeldQuit quit;
    const auto count = static_cast<DWORD>(handles.size());
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (;;) {
        // Messages that are there already do not wake the wait below.
        DispatchWaitingMessages(quit);
        const ULONGLONG now = GetTickCount64();
        const DWORD left = now < end ? static_cast<DWORD>(end - now) : 0;
        const DWORD result = MsgWaitForMultipleObjects(count, handles.data(), FALSE, left, wakeMask);
        if (result < WAIT_OBJECT_0 + count)
            return static_cast<int>(result - WAIT_OBJECT_0);
        if (result != WAIT_OBJECT_0 + count)
            return NoneSignalled;
    }
}

bool WaitPumping(HANDLE handle, DWORD milliseconds, DWORD wakeMask)
{
    return WaitPumping(std::span(&handle, 1), milliseconds, wakeMask) != NoneSignalled;
}

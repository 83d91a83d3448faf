// The wait of a request for the other side. Tests replace it.
#pragma once

#include "support/GrowingPause.h"

#include <windows.h>

class OverlayWaiter
{
public:
    // The result of a wait that ended early, because the watcher ends.
    static constexpr DWORD Stopped = WAIT_OBJECT_0 + 1;

    // Waits as WaitForSingleObject does, or returns Stopped.
    virtual DWORD Wait(HANDLE event, DWORD milliseconds) = 0;
    virtual GrowingPause::Time Now() { return std::chrono::steady_clock::now(); }

protected:
    ~OverlayWaiter() = default;
};

// Waits until an event is set that ends all waits: a service that hangs does not delay the end of a watcher.
class StoppableWaiter final : public OverlayWaiter
{
public:
    // `stop` must outlive the object.
    explicit StoppableWaiter(HANDLE stop) : m_stop(stop) {}

    DWORD Wait(HANDLE event, DWORD milliseconds) override
    {
        // When both are set, the first one counts.
        const HANDLE handles[] = {m_stop, event};
        const DWORD result = WaitForMultipleObjects(2, handles, FALSE, milliseconds);
        return result == WAIT_OBJECT_0 ? Stopped : result == WAIT_OBJECT_0 + 1 ? WAIT_OBJECT_0 : result;
    }

private:
    const HANDLE m_stop;
};

OverlayWaiter& SystemOverlayWaiter();

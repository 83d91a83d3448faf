// The wait of a request for the other side. Tests replace it.
#pragma once

#include "support/GrowingPause.h"

#include <windows.h>

class OverlayWaiter
{
public:
    // Waits as WaitForSingleObject does.
    virtual DWORD Wait(HANDLE event, DWORD milliseconds) = 0;
    virtual GrowingPause::Time Now() { return std::chrono::steady_clock::now(); }

protected:
    ~OverlayWaiter() = default;
};

OverlayWaiter& SystemOverlayWaiter();

// How a request waits for the other side. Tests stand in for it here.
#pragma once

#include "support/GrowingPause.h"

#include <windows.h>

class OverlayWaiter
{
public:
    // As WaitForSingleObject.
    virtual DWORD Wait(HANDLE event, DWORD milliseconds) = 0;
    virtual GrowingPause::Time Now() { return std::chrono::steady_clock::now(); }

protected:
    ~OverlayWaiter() = default;
};

OverlayWaiter& SystemOverlayWaiter();

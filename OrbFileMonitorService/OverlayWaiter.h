// How a request waits for the other side. Tests stand in for it here.
#pragma once

#include <windows.h>

class OverlayWaiter
{
public:
    // As WaitForSingleObject.
    virtual DWORD Wait(HANDLE event, DWORD milliseconds) = 0;

protected:
    ~OverlayWaiter() = default;
};

OverlayWaiter& SystemOverlayWaiter();

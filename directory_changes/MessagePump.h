// Keeping a thread's messages moving while it waits.
#pragma once

#include <windows.h>

// Waits for the handle for the time, dispatching the thread's messages meanwhile, delayed events among
// them. True when it was set. A WM_QUIT ends the pump for this wait and is put back.
bool WaitPumping(HANDLE handle, DWORD milliseconds, DWORD wakeMask);

// Keeps a thread's messages moving while the thread waits.
#pragma once

#include <windows.h>

#include <span>

// The result of WaitPumping when the time is over.
constexpr int NoneSignalled = -1;

// Waits until one of the handles is signalled, and dispatches the messages of the calling thread meanwhile; on the
// notifier thread, delayed events too. Returns the index of the first signalled handle, or NoneSignalled. A WM_QUIT is
// held back and posted again at the end of the wait.
int WaitPumping(std::span<const HANDLE> handles, DWORD milliseconds, DWORD wakeMask = QS_ALLINPUT);
// Waits for one handle. Returns true when it was signalled.
bool WaitPumping(HANDLE handle, DWORD milliseconds, DWORD wakeMask = QS_ALLINPUT);

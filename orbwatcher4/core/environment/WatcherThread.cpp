#include "orbwatcher4/core/environment/WatcherThread.h"

#include <process.h>

KernelHandle StartWatcherThread(unsigned(__stdcall* entry)(void*), void* argument)
{
    return KernelHandle(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, entry, argument, 0, nullptr)));
}

void JoinWatcherThread(KernelHandle& thread, const wchar_t* name)
{
    if (!thread)
        return;
    const LockOrder::WaitScope wait(name);
    WaitForSingleObject(thread.Get(), INFINITE);
    thread.Reset();
}

WatcherThreadScope::WatcherThreadScope(const wchar_t* name) : m_scope(name)
{
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
}

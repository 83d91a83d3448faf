// The calls of the system that the engine makes, so that tests can stand in for
// the system. The real ones do nothing but call it. Any thread.
#pragma once

#include <windows.h>

class ChangeIo
{
public:
    using ThreadEntry = unsigned(__stdcall*)(void*);

    virtual ~ChangeIo() = default;
    // Each fails with its own invalid value or false, and with the thread's last error set.
    virtual HANDLE OpenDirectory(const wchar_t* path);
    virtual HANDLE AssociatePort(HANDLE directory, HANDLE port, ULONG_PTR key);
    virtual HANDLE StartThread(ThreadEntry entry, void* argument, unsigned* id);
    virtual bool ReadChanges(HANDLE directory, void* buffer, DWORD length, bool subtree, DWORD filter,
                             OVERLAPPED* overlapped);
    virtual bool PostPacket(HANDLE port, DWORD bytes, ULONG_PTR key, OVERLAPPED* overlapped);
    virtual bool WaitPacket(HANDLE port, DWORD* bytes, ULONG_PTR* key, OVERLAPPED** overlapped, DWORD milliseconds);
    virtual void CloseDirectory(HANDLE directory);
};

ChangeIo& SystemChangeIo();

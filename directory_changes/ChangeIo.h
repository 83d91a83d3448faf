// The calls of the system that the engine makes, behind an interface that tests can implement. The functions of this
// class do nothing but call the system. Any thread.
#pragma once

#include <windows.h>

class ChangeIo
{
public:
    using ThreadEntry = unsigned(__stdcall*)(void*);

    virtual ~ChangeIo() = default;
    // A function that fails returns its invalid value (a handle) or false, and sets the thread's last error.

    // Returns INVALID_HANDLE_VALUE when it fails. The caller closes the handle with CloseDirectory.
    virtual HANDLE OpenDirectory(const wchar_t* path);
    // Returns the port, which it makes when `port` is null; null when it fails.
    virtual HANDLE AssociatePort(HANDLE directory, HANDLE port, ULONG_PTR key);
    // Returns a handle that the caller closes; null when it fails.
    virtual HANDLE StartThread(ThreadEntry entry, void* argument, unsigned* id);
    // Buffer and OVERLAPPED must live until the packet of the read has come.
    virtual bool ReadChanges(HANDLE directory, void* buffer, DWORD length, bool subtree, DWORD filter,
                             OVERLAPPED* overlapped);
    virtual bool PostPacket(HANDLE port, DWORD bytes, ULONG_PTR key, OVERLAPPED* overlapped);
    virtual bool WaitPacket(HANDLE port, DWORD* bytes, ULONG_PTR* key, OVERLAPPED** overlapped, DWORD milliseconds);
    // A pending read comes back.
    virtual void CloseDirectory(HANDLE directory);
};

ChangeIo& SystemChangeIo();

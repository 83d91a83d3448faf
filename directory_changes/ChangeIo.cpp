#include "directory_changes/ChangeIo.h"

#include <process.h>

HANDLE ChangeIo::OpenDirectory(const wchar_t* path)
{
    // Without FILE_SHARE_DELETE, a root cannot be deleted while it is watched.
    return CreateFileW(path, FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
}

HANDLE ChangeIo::AssociatePort(HANDLE directory, HANDLE port, ULONG_PTR key)
{
    return CreateIoCompletionPort(directory, port, key, 0);
}

HANDLE ChangeIo::StartThread(ThreadEntry entry, void* argument, unsigned* id)
{
    return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, entry, argument, 0, id));
}

bool ChangeIo::ReadChanges(HANDLE directory, void* buffer, DWORD length, bool subtree, DWORD filter,
                           OVERLAPPED* overlapped)
{
    DWORD unused = 0; // the packet of an overlapped read carries the count
    return ReadDirectoryChangesW(directory, buffer, length, subtree, filter, &unused, overlapped, nullptr) != FALSE;
}

bool ChangeIo::PostPacket(HANDLE port, DWORD bytes, ULONG_PTR key, OVERLAPPED* overlapped)
{
    return PostQueuedCompletionStatus(port, bytes, key, overlapped) != FALSE;
}

bool ChangeIo::WaitPacket(HANDLE port, DWORD* bytes, ULONG_PTR* key, OVERLAPPED** overlapped, DWORD milliseconds)
{
    return GetQueuedCompletionStatus(port, bytes, key, overlapped, milliseconds) != FALSE;
}

void ChangeIo::CloseDirectory(HANDLE directory) { CloseHandle(directory); }

ChangeIo& SystemChangeIo()
{
    static ChangeIo io;
    return io;
}

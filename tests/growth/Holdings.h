// The holdings of this process: handles, threads, and bytes in its heaps.
#pragma once

#include "support/Handle.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <tlhelp32.h>

#include <cstddef>
#include <stdexcept>
#include <vector>

struct Holdings {
    int handles = 0;
    int threads = 0;
    std::size_t bytes = 0; // in blocks that are in use

    static Holdings Now()
    {
        Holdings now;
        now.handles = OpenHandles();
        now.threads = Threads();
        std::vector<HANDLE> heaps(64);
        heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
        for (const HANDLE heap : heaps)
            now.bytes += BytesIn(heap);
        return now;
    }

private:
    static int Threads()
    {
        const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
        if (!snapshot)
            throw std::runtime_error("the threads cannot be counted");
        THREADENTRY32 entry = {};
        entry.dwSize = sizeof entry;
        int count = 0;
        for (BOOL more = Thread32First(snapshot.Get(), &entry); more; more = Thread32Next(snapshot.Get(), &entry))
            count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
        return count;
    }
    static std::size_t BytesIn(HANDLE heap)
    {
        std::size_t bytes = 0;
        PROCESS_HEAP_ENTRY entry = {};
        HeapLock(heap);
        while (HeapWalk(heap, &entry))
            if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY)
                bytes += entry.cbData;
        HeapUnlock(heap);
        return bytes;
    }
};

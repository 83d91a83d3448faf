// A system whose reads the test answers on its own thread.
#pragma once

#include "directory_changes/DirectoryRead.h"

#include <cstring>
#include <vector>

class ScriptedReads : public ChangeIo
{
public:
    DWORD readError = 0; // of each read; 0: it is issued
    DWORD longestRead = DirectoryRead::BufferSize;
    int closed = 0;
    std::vector<DWORD> lengths; // of the reads that were issued

    // A directory of its own: no handle of the system.
    HANDLE OpenDirectory(const wchar_t*) override { return this; }
    void CloseDirectory(HANDLE) override { ++closed; }
    bool ReadChanges(HANDLE, void* buffer, DWORD length, bool, DWORD, OVERLAPPED* overlapped) override
    {
        if (readError != 0 || length > longestRead) {
            SetLastError(readError != 0 ? readError : ERROR_INVALID_PARAMETER);
            return false;
        }
        overlapped->Internal = STATUS_PENDING;
        lengths.push_back(length);
        m_buffer = buffer;
        m_overlapped = overlapped;
        return true;
    }
    DWORD Complete(const std::vector<std::uint8_t>& bytes, ULONG_PTR status = 0)
    {
        std::memcpy(m_buffer, bytes.data(), bytes.size());
        m_overlapped->Internal = status;
        return static_cast<DWORD>(bytes.size());
    }

private:
    void* m_buffer = nullptr;
    OVERLAPPED* m_overlapped = nullptr;
};

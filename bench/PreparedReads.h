// A system whose reads of one watch are answered with prepared changes, so that nothing depends on the time at which a
// file system reports.
#pragma once

#include "directory_changes/ChangeIo.h"
#include "mfc/CString.h"
#include "tests/directory_changes/RecordBuffer.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <vector>

class PreparedReads final : public ChangeIo
{
public:
    using Changes = std::vector<std::uint8_t>;

    // Answers a read with the changes, the pending one or a later one. Any thread.
    void Give(Changes changes)
    {
        const std::scoped_lock lock(m_mutex);
        m_given.push_back(std::move(changes));
        if (m_isPending)
            CompleteNext();
    }

    HANDLE AssociatePort(HANDLE directory, HANDLE port, ULONG_PTR key) override
    {
        m_port = ChangeIo::AssociatePort(directory, port, key);
        m_key = key;
        return m_port;
    }
    bool ReadChanges(HANDLE, void* buffer, DWORD length, bool, DWORD, OVERLAPPED* overlapped) override
    {
        const std::scoped_lock lock(m_mutex);
        m_buffer = buffer;
        m_length = length;
        m_overlapped = overlapped;
        m_overlapped->Internal = STATUS_PENDING;
        m_isPending = true;
        if (!m_given.empty())
            CompleteNext();
        return true;
    }
    void CloseDirectory(HANDLE directory) override
    {
        ChangeIo::CloseDirectory(directory);
        PostPacket(m_port, 0, m_key, m_overlapped);
    }

private:
    void CompleteNext()
    {
        const Changes changes = std::move(m_given.front());
        m_given.pop_front();
        if (changes.size() > m_length)
            throw std::runtime_error("the changes are longer than the buffer");
        std::memcpy(m_buffer, changes.data(), changes.size());
        m_overlapped->Internal = 0;
        m_isPending = false;
        PostPacket(m_port, static_cast<DWORD>(changes.size()), m_key, m_overlapped);
    }

    std::mutex m_mutex; // guards all but m_port and m_key, which are constant while the folder is watched
    std::deque<Changes> m_given;
    HANDLE m_port = nullptr;
    ULONG_PTR m_key = 0;
    void* m_buffer = nullptr;
    DWORD m_length = 0;
    OVERLAPPED* m_overlapped = nullptr;
    bool m_isPending = false;
};

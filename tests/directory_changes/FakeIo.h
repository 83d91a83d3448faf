// Stands in for the system below the engine: refuses calls when a test wants it,
// and completes reads. Reads are never really issued; each waits for the test or
// for its directory to be closed, as Windows has it.
#pragma once

#include "directory_changes/ChangeIo.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

class FakeIo : public ChangeIo
{
public:
    using Bytes = std::vector<std::uint8_t>;

    // The error of every such call; 0: it succeeds.
    std::atomic<DWORD> openError{0}, portError{0}, readError{0};
    // A thread that cannot be started, with or without an error.
    bool failThread = false;
    DWORD threadError = 0;
    std::atomic<DWORD> longestRead{0x100000};
    std::atomic<int> reads{0};

    // Counts the packets for watches.
    std::atomic<bool> refusePackets{false};
    std::atomic<int> posted{0}, refused{0};
    std::atomic<ULONG_PTR> lastKey{0};
    // A packet as the directory with that key would bring it, even when it is closed.
    void PostLate(ULONG_PTR key, OVERLAPPED* overlapped) { ChangeIo::PostPacket(m_port, 8, key, overlapped); }
    // The packets that end the worker. The next one is refused after this call, which comes once.
    std::atomic<int> endPackets{0};
    std::function<void()> beforeRefusedEnd;
    // Waits for a packet that are over without one: the errors they leave.
    void EndWaits(std::vector<DWORD> errors)
    {
        {
            const std::scoped_lock lock(m_mutex);
            m_waitErrors = std::move(errors);
        }
        ChangeIo::PostPacket(m_port, 0, WakeUp, nullptr);
    }
    // Called once: as the next directory is opened, before the next packet is posted for a watch, when the worker has
    // taken the next packet from the port, and as the next directory is closed.
    std::function<void()> beforeOpen, beforePost, afterWait, beforeClose;
    // Completes each read at once, without a change.
    std::atomic<bool> emptyReads{false};

    HANDLE OpenDirectory(const wchar_t* path) override
    {
        CallOnce(beforeOpen);
        if (openError == 0)
            return ChangeIo::OpenDirectory(path);
        SetLastError(openError);
        return INVALID_HANDLE_VALUE;
    }
    HANDLE AssociatePort(HANDLE directory, HANDLE port, ULONG_PTR key) override
    {
        if (portError != 0) {
            SetLastError(portError);
            return nullptr;
        }
        const HANDLE made = ChangeIo::AssociatePort(directory, port, key);
        lastKey = key;
        const std::scoped_lock lock(m_mutex);
        m_directories[directory] = {made, key, nullptr, 0, nullptr};
        return m_port = made;
    }
    HANDLE StartThread(ThreadEntry entry, void* argument, unsigned* id) override
    {
        if (!failThread)
            return ChangeIo::StartThread(entry, argument, id);
        SetLastError(threadError);
        return nullptr;
    }
    bool ReadChanges(HANDLE directory, void* buffer, DWORD length, bool, DWORD filter, OVERLAPPED* overlapped) override
    {
        EXPECT_EQ(filter, 27u);
        if (reinterpret_cast<std::uintptr_t>(buffer) % 4 != 0) {
            SetLastError(ERROR_NOACCESS);
            ADD_FAILURE() << "the buffer is not aligned";
            return false;
        }
        if (length > longestRead || readError != 0) {
            SetLastError(readError != 0 ? readError.load() : ERROR_INVALID_PARAMETER);
            return false;
        }
        {
            const std::scoped_lock lock(m_mutex);
            overlapped->Internal = Waiting;
            Directory& read = m_directories[directory];
            read.buffer = static_cast<std::uint8_t*>(buffer);
            read.length = length;
            read.overlapped = overlapped;
            m_last = directory;
            ++reads;
        }
        m_issued.notify_all();
        if (emptyReads)
            Finish(directory, {}, Overflow);
        return true;
    }
    bool PostPacket(HANDLE port, DWORD bytes, ULONG_PTR key, OVERLAPPED* overlapped) override
    {
        if (key == 0) {
            if (beforeRefusedEnd) {
                CallOnce(beforeRefusedEnd);
                SetLastError(ERROR_NO_SYSTEM_RESOURCES);
                return false;
            }
            ++endPackets;
            return ChangeIo::PostPacket(port, bytes, key, overlapped);
        }
        CallOnce(beforePost);
        if (refusePackets) {
            ++refused;
            SetLastError(ERROR_NO_SYSTEM_RESOURCES);
            return false;
        }
        ++posted;
        return ChangeIo::PostPacket(port, bytes, key, overlapped);
    }
    bool WaitPacket(HANDLE port, DWORD* bytes, ULONG_PTR* key, OVERLAPPED** overlapped, DWORD milliseconds) override
    {
        bool good;
        do {
            *key = 0;
            if (TakeWaitError())
                return false;
            good = ChangeIo::WaitPacket(port, bytes, key, overlapped, milliseconds);
        } while (*key == WakeUp);
        CallOnce(afterWait);
        // Only looked up: of a packet that comes late nothing but the address may be left.
        const std::scoped_lock lock(m_mutex);
        if (!good || m_failed.erase(*overlapped) == 0)
            return good;
        SetLastError(ERROR_READ_FAULT);
        return false;
    }
    void CloseDirectory(HANDLE directory) override
    {
        CallOnce(beforeClose);
        Finish(directory, {}, Cleanup);
        {
            const std::scoped_lock lock(m_mutex);
            m_directories.erase(directory);
        }
        // Last: from then on another directory may have this handle.
        ChangeIo::CloseDirectory(directory);
    }

    // These speak of the directory that was read last.
    bool WaitForRead(int count)
    {
        std::unique_lock lock(m_mutex);
        return m_issued.wait_for(lock, std::chrono::seconds(20),
                                 [&] { return reads >= count && m_directories[m_last].overlapped; });
    }
    // The pending read completes with these bytes; none: the system had to drop changes.
    void Complete(const Bytes& bytes) { Finish(Last(), bytes, bytes.empty() ? Overflow : Success); }
    void Fail() { Finish(Last(), {}, Failed); }
    // Does the same for one of the directories whose read is pending, if there is one.
    void CompleteOne(unsigned pick, const Bytes& bytes)
    {
        Finish(Pending(pick), bytes, bytes.empty() ? Overflow : Success);
    }
    void FailOne(unsigned pick) { Finish(Pending(pick), {}, Failed); }

private:
    // The values that the system writes into an OVERLAPPED.
    static constexpr ULONG_PTR Success = 0, Waiting = 0x103, Cleanup = 0x10B, Overflow = 0x10C, Failed = 0xC0000001;

    static constexpr ULONG_PTR WakeUp = ~ULONG_PTR(0); // a key that no watch has

    struct Directory {
        HANDLE port = nullptr;
        ULONG_PTR key = 0;
        std::uint8_t* buffer = nullptr;
        DWORD length = 0;
        OVERLAPPED* overlapped = nullptr; // of the pending read
    };

    // Threads that make calls at once must not meet a call of the test.
    static void CallOnce(std::function<void()>& function)
    {
        if (!function)
            return;
        const auto call = std::exchange(function, nullptr);
        call();
    }
    bool TakeWaitError()
    {
        const std::scoped_lock lock(m_mutex);
        if (m_waitErrors.empty())
            return false;
        SetLastError(m_waitErrors.front());
        m_waitErrors.erase(m_waitErrors.begin());
        return true;
    }
    HANDLE Pending(unsigned pick)
    {
        const std::scoped_lock lock(m_mutex);
        std::vector<HANDLE> pending;
        for (const auto& [directory, read] : m_directories)
            if (read.overlapped)
                pending.push_back(directory);
        return pending.empty() ? nullptr : pending[pick % pending.size()];
    }
    HANDLE Last()
    {
        const std::scoped_lock lock(m_mutex);
        return m_last;
    }
    void Finish(HANDLE directory, const Bytes& bytes, ULONG_PTR status)
    {
        const std::scoped_lock lock(m_mutex);
        const auto found = m_directories.find(directory);
        if (found == m_directories.end() || !found->second.overlapped)
            return;
        Directory& read = found->second;
        ASSERT_LE(bytes.size(), read.length);
        std::copy(bytes.begin(), bytes.end(), read.buffer);
        OVERLAPPED* overlapped = std::exchange(read.overlapped, nullptr);
        overlapped->Internal = status;
        if (status == Failed)
            m_failed.insert(overlapped);
        ChangeIo::PostPacket(read.port, static_cast<DWORD>(bytes.size()), read.key, overlapped);
    }

    std::mutex m_mutex;
    std::condition_variable m_issued;
    std::map<HANDLE, Directory> m_directories; // open ones; guarded by m_mutex
    std::set<const OVERLAPPED*> m_failed;      // completed reads; guarded by m_mutex
    std::vector<DWORD> m_waitErrors;           // guarded by m_mutex
    HANDLE m_port = nullptr;                   // of the watcher's one run
    HANDLE m_last = nullptr;                   // guarded by m_mutex
};

// What the system does in bad moments, put in by hand.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/DelayedNotificationThread.h"
#include "tests/directory_changes/RecordBuffer.h"
#include "tests/directory_changes/RecordingHandler.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>

namespace
{

// Lets tests refuse calls and complete reads. Reads are never really issued: each waits for the test.
class FakeIo : public ChangeIo
{
public:
    DWORD openError = 0, portError = 0, threadError = 0;
    bool failThread = false;
    std::atomic<DWORD> readError{0};
    std::atomic<DWORD> longestRead{0x100000};
    std::atomic<int> reads{0};

    HANDLE OpenDirectory(const wchar_t* path) override
    {
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
        m_key = key;
        m_port = ChangeIo::AssociatePort(directory, port, key);
        return m_port;
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
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % 4, 0u); // an unaligned buffer is refused
        if (length > longestRead || readError != 0) {
            SetLastError(readError != 0 ? readError.load() : ERROR_INVALID_PARAMETER);
            return false;
        }
        {
            const std::scoped_lock lock(m_mutex);
            m_pending = {directory, static_cast<std::uint8_t*>(buffer), length, overlapped};
        }
        ++reads;
        m_issued.notify_all();
        return true;
    }
    void CloseDirectory(HANDLE directory) override
    {
        OVERLAPPED* cancelled = nullptr;
        {
            const std::scoped_lock lock(m_mutex);
            if (m_pending.directory == directory)
                cancelled = std::exchange(m_pending.overlapped, nullptr);
        }
        ChangeIo::CloseDirectory(directory);
        // As Windows does: the pending read completes with no bytes.
        if (cancelled)
            PostPacket(m_port, 0, m_key, cancelled);
    }

    bool WaitForRead(int count)
    {
        std::unique_lock lock(m_mutex);
        return m_issued.wait_for(lock, std::chrono::seconds(20),
                                 [&] { return reads >= count && m_pending.overlapped; });
    }
    // The pending read completes with these bytes; the offset says where they went in the whole buffer.
    void Complete(const std::vector<std::uint8_t>& bytes)
    {
        OVERLAPPED* overlapped;
        {
            const std::scoped_lock lock(m_mutex);
            std::copy(bytes.begin(), bytes.end(), m_pending.buffer);
            overlapped = std::exchange(m_pending.overlapped, nullptr);
        }
        PostPacket(m_port, static_cast<DWORD>(bytes.size()), m_key, overlapped);
    }

private:
    struct Pending {
        HANDLE directory = nullptr;
        std::uint8_t* buffer = nullptr;
        DWORD length = 0;
        OVERLAPPED* overlapped = nullptr;
    };
    std::mutex m_mutex;
    std::condition_variable m_issued;
    Pending m_pending;
    ULONG_PTR m_key = 0;
    HANDLE m_port = nullptr;
};

class EngineFaults : public testing::Test
{
protected:
    TempFolder folder;
    FakeIo io;
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher{io, false, 1};

    DWORD Watch() { return watcher.WatchDirectory(folder.Path(), &handler); }
    std::wstring At(const wchar_t* before, const wchar_t* name = L"")
    {
        return before + std::wstring(folder.Path(name).GetString());
    }
    std::wstring Lost() { return L"error 1022 " + std::wstring(folder.Path()); }
    ~EngineFaults() override { watcher.UnwatchAllDirectories(); }
};

TEST_F(EngineFaults, ADirectoryThatCannotBeOpenedReturnsTheSystemsCode)
{
    io.openError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Watch(), DWORD(ERROR_ACCESS_DENIED));
}

TEST_F(EngineFaults, APortThatCannotBeMadeReturnsTheSystemsCode)
{
    io.portError = ERROR_INVALID_HANDLE;
    EXPECT_EQ(Watch(), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
}

TEST_F(EngineFaults, AWorkerThatCannotStartReturnsTheLastErrorOr164)
{
    io.failThread = true;
    EXPECT_EQ(Watch(), DWORD(ERROR_MAX_THRDS_REACHED));
    io.threadError = ERROR_NOT_ENOUGH_MEMORY;
    EXPECT_EQ(Watch(), DWORD(ERROR_NOT_ENOUGH_MEMORY));
    io.failThread = false;
    EXPECT_EQ(Watch(), 0u);
}

TEST_F(EngineFaults, AFirstReadThatFailsIsToldAndReturned)
{
    io.readError = ERROR_NOT_SUPPORTED;
    EXPECT_EQ(Watch(), DWORD(ERROR_NOT_SUPPORTED));
    EXPECT_EQ(handler.Events(), std::vector<std::wstring>{L"started 50 " + std::wstring(folder.Path())});
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
    io.readError = 0;
    EXPECT_EQ(Watch(), 0u);
}

TEST_F(EngineFaults, ANetworkShareThatRefusesTheLargeBufferIsReadWith64KiB)
{
    io.longestRead = 0x10000;
    EXPECT_EQ(Watch(), 0u);
    EXPECT_EQ(io.reads, 1);
}

TEST_F(EngineFaults, AReReadThatFailsReportsItsErrorAndEndsTheWatchWithoutAStop)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    io.readError = ERROR_ACCESS_DENIED;
    RecordBuffer buffer;
    io.Complete(buffer.Add(1, L"a").Bytes());
    EXPECT_TRUE(handler.WaitFor(L"error 5 " + std::wstring(folder.Path())));
    watcher.UnwatchAllDirectories();
    EXPECT_EQ(handler.Count(At(L"+", L"a")), 1);
    EXPECT_EQ(handler.Count(At(L"stopped ")), 0);
}

TEST_F(EngineFaults, LostChangesAreToldAndTheWatchGoesOn)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    io.Complete({});
    EXPECT_TRUE(handler.WaitFor(Lost()));
    ASSERT_TRUE(io.WaitForRead(2));
    RecordBuffer buffer;
    io.Complete(buffer.Add(1, L"after").Bytes());
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"after")));
    EXPECT_TRUE(watcher.IsWatchingDirectory(folder.Path()));
}

TEST_F(EngineFaults, ALostReadDeliversAHeldOldNameAsRemoved)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    RecordBuffer buffer;
    io.Complete(buffer.Add(4, L"old").Bytes());
    ASSERT_TRUE(io.WaitForRead(2));
    io.Complete({});
    EXPECT_TRUE(handler.WaitFor(Lost()));
    EXPECT_EQ(handler.Count(At(L"-", L"old")), 1);
}

TEST_F(EngineFaults, ARenameThatIsSplitOverTwoReadsArrivesAsOne)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    RecordBuffer first, second;
    io.Complete(first.Add(4, L"old name").Bytes());
    ASSERT_TRUE(io.WaitForRead(2));
    io.Complete(second.Add(5, L"new").Bytes());
    EXPECT_TRUE(handler.WaitFor(At(L">", L"old name") + At(L">", L"new")));
}

TEST_F(EngineFaults, AHeldOldNameIsDeliveredAsRemovedWhenTheWatchEnds)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    RecordBuffer buffer;
    io.Complete(buffer.Add(4, L"old").Bytes());
    ASSERT_TRUE(io.WaitForRead(2));
    watcher.UnwatchAllDirectories();
    EXPECT_EQ(handler.Count(At(L"-", L"old")), 1);
}

std::atomic<int> g_refusals{0};

BOOL WINAPI PostThatRefuses(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (g_refusals.fetch_sub(1) > 0) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
    return PostThreadMessageW(thread, message, wParam, lParam);
}

TEST_F(EngineFaults, APostThatIsRefusedIsTriedAgainAndNoEventIsLost)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    CDelayedNotificationThread::SetPostFunction(PostThatRefuses);
    g_refusals = 3;
    RecordBuffer buffer;
    io.Complete(buffer.Add(1, L"a").Add(1, L"b").Bytes());
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"b")));
    CDelayedNotificationThread::SetPostFunction(nullptr);
    EXPECT_EQ(handler.Count(At(L"+", L"a")), 1);
}

} // namespace

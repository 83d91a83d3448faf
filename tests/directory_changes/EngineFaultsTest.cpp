// Failures of the system in bad moments, put in by hand.
#include "tests/directory_changes/FaultFixture.h"
#include "tests/directory_changes/NotifierSeams.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{

using EngineFaults = FaultFixture;

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
    EXPECT_TRUE(UntilNotWatching());
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

TEST_F(EngineFaults, AnOldNameThatFillsTheBufferStillMeetsItsNewName)
{
    io.longestRead = 0x10000;
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    RecordBuffer first, second;
    first.Add(4, std::wstring((0x10000 - 12) / 2, L'o'));
    ASSERT_EQ(first.Bytes().size(), 0x10000u);
    io.Complete(first.Bytes());
    ASSERT_TRUE(io.WaitForRead(2));
    io.Complete(second.Add(5, L"new").Bytes());
    EXPECT_TRUE(handler.WaitFor(At(L">", std::wstring(260, L'o').c_str()) + At(L">", L"new")));
    EXPECT_TRUE(watcher.IsWatchingDirectory(folder.Path()));
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
    const PostFunctionScope post(PostThatRefuses);
    g_refusals = 3;
    RecordBuffer buffer;
    io.Complete(buffer.Add(1, L"a").Add(1, L"b").Bytes());
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"b")));
    EXPECT_EQ(handler.Count(At(L"+", L"a")), 1);
}

std::vector<std::wstring> AddNames(RecordBuffer& buffer, int count)
{
    std::vector<std::wstring> added;
    for (int i = 0; i < count; ++i) {
        const std::wstring name = L"f" + std::to_wstring(i);
        buffer.Add(1, name);
        added.push_back(name);
    }
    return added;
}

TEST_F(EngineFaults, MoreChangesThanTheQueueHoldsAreAllToldInTheirOrder)
{
    constexpr std::size_t most = 1000;
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    ASSERT_TRUE(handler.WaitForEvents(1));
    const MostQueuedScope limit(most);
    std::atomic<int> told{0};
    std::atomic<std::size_t> longest{0};
    handler.onEvent = [&](const std::wstring&) {
        // The first one takes until the queue is full.
        EXPECT_TRUE(told > 0 || Until([] { return CDelayedNotificationThread::Queued() == most; }));
        longest = std::max<std::size_t>(longest, CDelayedNotificationThread::Queued());
        ++told;
    };
    RecordBuffer buffer;
    Events wanted{Started()};
    for (const std::wstring& name : AddNames(buffer, most + 200))
        wanted.push_back(At(L"+", name.c_str()));
    io.Complete(buffer.Bytes());
    EXPECT_TRUE(handler.WaitForEvents(wanted.size()));
    EXPECT_EQ(handler.Events(), wanted);
    EXPECT_EQ(longest, most);
    watcher.UnwatchAllDirectories(); // the handler uses what is on this stack
}

std::atomic<int> g_posted{0};

BOOL WINAPI CountedPost(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam)
{
    ++g_posted;
    return PostThreadMessageW(thread, message, wParam, lParam);
}

TEST_F(EngineFaults, ChangesThatComeWhileOneIsToldWakeTheNotifierOnce)
{
    constexpr int changes = 500;
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    ASSERT_TRUE(handler.WaitForEvents(1));
    g_posted = 0;
    std::atomic<bool> first{true};
    handler.onEvent = [&](const std::wstring&) { EXPECT_TRUE(!first.exchange(false) || io.WaitForRead(2)); };
    const PostFunctionScope post(CountedPost);
    RecordBuffer buffer;
    AddNames(buffer, changes);
    io.Complete(buffer.Bytes());
    EXPECT_TRUE(handler.WaitForEvents(1 + changes));
    EXPECT_GE(g_posted, 1);
    EXPECT_LE(g_posted, 2);          // for the first one, and for all that came while it was told
    watcher.UnwatchAllDirectories(); // the handler uses what is on this stack
}

TEST_F(EngineFaults, ADirectoryThatWasDeletedEndsItsWatchAndCanBeWatchedWhenItReturns)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(1));
    // The pending read fails, and so does the next one: nothing lies behind the handle any more.
    io.readError = ERROR_ACCESS_DENIED;
    io.Fail();
    EXPECT_TRUE(handler.WaitFor(At(L"error 5 ")));
    EXPECT_TRUE(UntilNotWatching());
    EXPECT_EQ(handler.Count(Lost()), 1);
    io.readError = 0;
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(io.WaitForRead(2));
    io.Complete(Bytes(1, L"back"));
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"back")));
}

} // namespace

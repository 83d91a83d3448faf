// Which watcher a handler belongs to, and for how many directories.
#include "tests/directory_changes/FaultFixture.h"

#include <gtest/gtest.h>

#include <filesystem>

class HandlerLinkAccess
{
public:
    static long Link(CDirectoryChangeHandler& handler, CDirectoryChangeWatcher* watcher)
    {
        const std::shared_ptr<WatchEngine> engine = watcher ? watcher->m_engine : nullptr;
        handler.EndWatchesElsewhere(engine.get());
        return handler.LinkWatcher(engine);
    }
    static void Unlink(CDirectoryChangeHandler& handler) { handler.UnlinkWatcher(handler.m_engine.get()); }
    static long Count(const CDirectoryChangeHandler& handler) { return handler.m_linkCount; }
    static bool IsLinked(const CDirectoryChangeHandler& handler, const CDirectoryChangeWatcher* watcher)
    {
        return handler.m_engine == (watcher ? watcher->m_engine : nullptr);
    }
};

namespace
{

class HandlerLink : public FaultFixture
{
protected:
    using Access = HandlerLinkAccess;
    CDirectoryChangeWatcher other;

    CString Sub(const wchar_t* name)
    {
        std::filesystem::create_directories(folder.Path(name).GetString());
        return folder.Path(name);
    }
    ~HandlerLink() override { other.UnwatchAllDirectories(); }
};

TEST_F(HandlerLink, LinkingCountsTheDirectoriesAndTheLastUnlinkingClears)
{
    EXPECT_EQ(Access::Link(handler, &watcher), 1);
    EXPECT_EQ(Access::Link(handler, &watcher), 2);
    Access::Unlink(handler);
    EXPECT_EQ(Access::Count(handler), 1);
    EXPECT_TRUE(Access::IsLinked(handler, &watcher));
    Access::Unlink(handler);
    EXPECT_EQ(Access::Count(handler), 0);
    EXPECT_TRUE(Access::IsLinked(handler, nullptr));
    Access::Unlink(handler);
    EXPECT_EQ(Access::Count(handler), 0);
}

TEST_F(HandlerLink, LinkingToNoWatcherCountsNothing) { EXPECT_EQ(Access::Link(handler, nullptr), 0); }

TEST_F(HandlerLink, ALinkToAnotherWatcherStaysWhenThereWasNothingToEnd)
{
    Access::Link(handler, &other);
    Access::Link(handler, &other);
    EXPECT_EQ(Access::Link(handler, &watcher), 2);
    EXPECT_TRUE(Access::IsLinked(handler, &other));
    Access::Unlink(handler);
    Access::Unlink(handler);
}

TEST_F(HandlerLink, ALinkMovesWhenWatchesWereEndedAndCountsFromOne)
{
    ASSERT_EQ(other.WatchDirectory(Sub(L"one"), &handler), 0u);
    ASSERT_EQ(other.WatchDirectory(Sub(L"two"), &handler), 0u);
    EXPECT_EQ(Access::Count(handler), 2);
    EXPECT_EQ(Access::Link(handler, &watcher), 1);
    EXPECT_TRUE(Access::IsLinked(handler, &watcher));
    EXPECT_FALSE(other.IsWatchingDirectory(folder.Path(L"one")));
    EXPECT_FALSE(other.IsWatchingDirectory(folder.Path(L"two")));
    Access::Unlink(handler);
}

TEST_F(HandlerLink, AWatchThatCannotStartEndsNothingElsewhere)
{
    ASSERT_EQ(other.WatchDirectory(Sub(L"one"), &handler), 0u);
    io.readError = ERROR_NOT_SUPPORTED;
    EXPECT_EQ(Watch(), DWORD(ERROR_NOT_SUPPORTED));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NOT_SUPPORTED));
    EXPECT_TRUE(other.IsWatchingDirectory(folder.Path(L"one")));
    EXPECT_TRUE(Access::IsLinked(handler, &other));
    EXPECT_EQ(Access::Count(handler), 1);
}

TEST_F(HandlerLink, AWatchThatStartsEndsTheHandlersWatchesElsewhere)
{
    const CString one = Sub(L"one");
    ASSERT_EQ(other.WatchDirectory(one, &handler), 0u);
    ASSERT_EQ(Watch(), 0u);
    EXPECT_EQ(handler.Events(),
              (Events{L"started 0 " + std::wstring(one), Started(), L"stopped " + std::wstring(one)}));
    EXPECT_TRUE(Access::IsLinked(handler, &watcher));
    EXPECT_EQ(Access::Count(handler), 1);
}

TEST_F(HandlerLink, AWatchThatIsEndedBeforeItsLinkStandsLeavesNone)
{
    const CString one = Sub(L"one");
    ASSERT_EQ(other.WatchDirectory(one, &handler), 0u);
    handler.onEvent = [&](const std::wstring& told) {
        if (told == L"stopped " + std::wstring(one))
            Unwatch();
    };
    EXPECT_EQ(Watch(), 0u);
    EXPECT_EQ(handler.Count(Stopped()), 1);
    EXPECT_TRUE(Access::IsLinked(handler, nullptr));
    EXPECT_EQ(Access::Count(handler), 0);
}

TEST_F(HandlerLink, AHandlerThatGoesBackToItsWatcherAsItIsTakenAwayStaysThere)
{
    const CString one = Sub(L"one");
    ASSERT_EQ(other.WatchDirectory(one, &handler), 0u);
    handler.onEvent = [&](const std::wstring& told) {
        if (told == L"stopped " + std::wstring(one) && handler.Count(told) == 1) {
            EXPECT_EQ(other.WatchDirectory(one, &handler), 0u);
        }
    };
    EXPECT_EQ(Watch(), DWORD(ERROR_OPERATION_ABORTED));
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
    EXPECT_TRUE(other.IsWatchingDirectory(one));
    EXPECT_TRUE(Access::IsLinked(handler, &other));
    EXPECT_EQ(Access::Count(handler), 1);
    other.UnwatchAllDirectories(); // the handler uses what is on this stack
}

TEST_F(HandlerLink, AWatchThatEndsWithAnErrorIsNoLongerCounted)
{
    ASSERT_EQ(Watch(), 0u);
    io.readError = ERROR_ACCESS_DENIED;
    io.Complete(Bytes(1, L"a"));
    EXPECT_TRUE(handler.WaitFor(At(L"error 5 ")));
    watcher.UnwatchAllDirectories(); // the worker has ended
    EXPECT_EQ(Access::Count(handler), 0);
    EXPECT_TRUE(Access::IsLinked(handler, nullptr));
}

} // namespace

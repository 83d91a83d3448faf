// The engine on real directories.
#include "directory_changes/DelayedNotificationThread.h"
#include "mfc/CEvent.h"
#include "tests/directory_changes/RecordingHandler.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{

class Engine : public testing::Test
{
protected:
    TempFolder folder;
    CString Sub(const wchar_t* name)
    {
        std::filesystem::create_directories(folder.Path(name).GetString());
        return folder.Path(name);
    }
    static std::wstring Text(const wchar_t* prefix, const CString& path)
    {
        return std::wstring(prefix) + path.GetString();
    }
};

TEST_F(Engine, ReportsWhatHappensInATree)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    EXPECT_TRUE(handler.WaitFor(Text(L"started 0 ", folder.Path())));
    folder.WriteBytes(L"new\\a.txt", "x");
    EXPECT_TRUE(handler.WaitFor(Text(L"+", folder.Path(L"new\\a.txt"))));
    MoveFileW(folder.Path(L"new\\a.txt"), folder.Path(L"new\\b.txt"));
    EXPECT_TRUE(handler.WaitFor(Text(L">", folder.Path(L"new\\a.txt")) + Text(L">", folder.Path(L"new\\b.txt"))));
    DeleteFileW(folder.Path(L"new\\b.txt"));
    EXPECT_TRUE(handler.WaitFor(Text(L"-", folder.Path(L"new\\b.txt"))));
    EXPECT_EQ(handler.GetChangedDirectoryName(), folder.Path());
    watcher.UnwatchAllDirectories();
}

TEST_F(Engine, RefusesAnEmptyPathANullHandlerAndWhatIsNoDirectory)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    folder.WriteBytes(L"file", "x");
    EXPECT_EQ(watcher.WatchDirectory(L"", &handler), 87u);
    EXPECT_EQ(watcher.WatchDirectory(folder.Path(), nullptr), 87u);
    EXPECT_EQ(watcher.WatchDirectory(folder.Path(L"missing"), &handler), 161u);
    EXPECT_EQ(GetLastError(), 161u);
    EXPECT_EQ(watcher.WatchDirectory(folder.Path(L"file"), &handler), 161u);
    EXPECT_EQ(watcher.WatchDirectory(nullptr, &handler), 87u);
    EXPECT_TRUE(handler.Events().empty());
}

TEST_F(Engine, NoPathAndNoHandlerAreRefusedAndEndNothing)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    const auto refuses = [](auto call) {
        SetLastError(0);
        return !call() && GetLastError() == ERROR_INVALID_PARAMETER;
    };
    EXPECT_TRUE(refuses([&] { return watcher.UnwatchDirectory(static_cast<const wchar_t*>(nullptr)); }));
    EXPECT_TRUE(refuses([&] { return watcher.UnwatchDirectory(static_cast<CDirectoryChangeHandler*>(nullptr)); }));
    EXPECT_TRUE(refuses([&] { return watcher.IsWatchingDirectory(nullptr); }));
    EXPECT_TRUE(watcher.IsWatchingDirectory(folder.Path()));
}

TEST_F(Engine, WatchingTheSameDirectoryTwiceStopsTheFirstWatchBeforeTheSecondStarts)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    ASSERT_EQ(watcher.WatchDirectory(folder.Path().MakeUpper(), &handler), 0u);
    watcher.UnwatchAllDirectories();
    const std::vector<std::wstring> events = handler.Events();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[1], Text(L"stopped ", folder.Path()));
    EXPECT_EQ(events[2], Text(L"started 0 ", folder.Path().MakeUpper()));
}

TEST_F(Engine, AnUnwatchedDirectoryIsToldAndReportsNothingMore)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    EXPECT_TRUE(watcher.IsWatchingDirectory(folder.Path().MakeLower()));
    EXPECT_TRUE(watcher.UnwatchDirectory(folder.Path().GetString()));
    EXPECT_FALSE(watcher.UnwatchDirectory(folder.Path().GetString()));
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
    EXPECT_EQ(handler.Count(Text(L"stopped ", folder.Path())), 1);
    const std::size_t before = handler.Events().size();
    folder.WriteBytes(L"late.txt", "x");
    watcher.UnwatchAllDirectories();
    EXPECT_EQ(handler.Events().size(), before);
}

TEST_F(Engine, EverythingThatWasQueuedIsHandledBeforeAnUnwatchReturns)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    for (int i = 0; i < 200; ++i)
        folder.WriteBytes((L"f" + std::to_wstring(i)).c_str(), "x");
    ASSERT_TRUE(handler.WaitFor(Text(L"+", folder.Path(L"f0"))));
    watcher.UnwatchAllDirectories();
    const std::vector<std::wstring> events = handler.Events();
    EXPECT_EQ(events.back(), Text(L"stopped ", folder.Path()));
}

TEST_F(Engine, UnwatchingAWatcherThatNeverWatchedIsHarmless)
{
    CDirectoryChangeWatcher watcher;
    EXPECT_TRUE(watcher.UnwatchAllDirectories());
    EXPECT_TRUE(watcher.UnwatchAllDirectories());
}

TEST_F(Engine, AStoppedWatcherWatchesAgain)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    for (int i = 1; i <= 3; ++i) {
        ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
        watcher.UnwatchAllDirectories();
        EXPECT_EQ(handler.Count(Text(L"stopped ", folder.Path())), i);
    }
}

TEST_F(Engine, DirectoriesShareOneNotifierThreadThatEndsWithTheLast)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), 0u);
    const CString one = Sub(L"one"), two = Sub(L"two");
    ASSERT_EQ(watcher.WatchDirectory(one, &handler), 0u);
    const DWORD id = CDelayedNotificationThread::CurrentThreadId();
    ASSERT_EQ(watcher.WatchDirectory(two, &handler), 0u);
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), id);
    watcher.UnwatchDirectory(one.GetString());
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), id);
    watcher.UnwatchDirectory(two.GetString());
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), 0u);
}

TEST_F(Engine, AHandlerThatRefusesEventsIsStillToldOfItsWatch)
{
    RecordingHandler handler;
    handler.accept = false;
    CDirectoryChangeWatcher watcher;
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    folder.WriteBytes(L"a.txt", "x");
    watcher.UnwatchAllDirectories();
    EXPECT_EQ(handler.Events(),
              (std::vector<std::wstring>{Text(L"started 0 ", folder.Path()), Text(L"stopped ", folder.Path())}));
}

TEST_F(Engine, HandlersRunWithoutBoxesAboutHardErrors)
{
    // A new thread takes over the mode of the process.
    const UINT before = SetErrorMode(0);
    RecordingHandler handler;
    std::atomic<DWORD> mode{0};
    handler.onEvent = [&](const std::wstring&) { mode = GetThreadErrorMode(); };
    CDirectoryChangeWatcher watcher;
    EXPECT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    watcher.UnwatchAllDirectories();
    SetErrorMode(before);
    EXPECT_TRUE(mode & SEM_FAILCRITICALERRORS);
}

TEST_F(Engine, AnExceptionWhenStoppedDoesNotKeepTheStoppingThread)
{
    RecordingHandler handler;
    handler.throwWhenStopped = true;
    CDirectoryChangeWatcher watcher;
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    EXPECT_TRUE(watcher.UnwatchDirectory(folder.Path().GetString()));
}

TEST_F(Engine, AHandlerMayEndItsOwnWatchFromInsideAnEvent)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    CEvent ended;
    handler.onEvent = [&](const std::wstring& event) {
        if (event[0] != L'+')
            return;
        watcher.UnwatchDirectory(&handler);
        ended.SetEvent();
    };
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    folder.WriteBytes(L"a.txt", "x");
    ASSERT_TRUE(ended.Lock(20000));
    EXPECT_EQ(handler.Count(Text(L"stopped ", folder.Path())), 1);
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
}

TEST_F(Engine, ADyingHandlerEndsItsWatches)
{
    CDirectoryChangeWatcher watcher;
    {
        RecordingHandler handler;
        ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
        EXPECT_TRUE(handler.WaitForEvents(1)); // it uses its members in an event
    }
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
}

TEST_F(Engine, AHandlerBelongsToOneWatcherAndItsOldWatchesEnd)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher first, second;
    const CString one = Sub(L"one"), two = Sub(L"two");
    ASSERT_EQ(first.WatchDirectory(one, &handler), 0u);
    ASSERT_EQ(second.WatchDirectory(two, &handler), 0u);
    EXPECT_FALSE(first.IsWatchingDirectory(one));
    EXPECT_TRUE(second.IsWatchingDirectory(two));
    second.UnwatchAllDirectories();
    first.UnwatchAllDirectories();
}

TEST_F(Engine, AReferenceOfTheEngineKeepsAHandlerAndLetsItGo)
{
    bool gone = false;
    class Dying : public CDirectoryChangeHandler
    {
    public:
        explicit Dying(bool& flag) : m_gone(flag) {}
        ~Dying() override { m_gone = true; }

    private:
        bool& m_gone;
    };
    CDirectoryChangeWatcher watcher;
    auto* handler = new Dying(gone);
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), handler), 0u);
    EXPECT_EQ(handler->Release(), 1);
    EXPECT_FALSE(gone);
    watcher.UnwatchAllDirectories();
    EXPECT_TRUE(gone);
}

TEST_F(Engine, ManyWatchesLeaveNoHandlesBehind)
{
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher;
    const auto cycle = [&] {
        ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
        watcher.UnwatchAllDirectories();
    };
    cycle();
    const int before = OpenHandles();
    for (int i = 0; i < 50; ++i)
        cycle();
    EXPECT_LE(OpenHandles(), before + 2);
}

} // namespace

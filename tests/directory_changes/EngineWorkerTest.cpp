// The worker: what ends it, what it does when reads fail, and how it is waited for.
#include "support/Handle.h"
#include "tests/directory_changes/FaultFixture.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace
{

// Tells when its worker starts and ends.
class HookedWatcher : public CDirectoryChangeWatcher
{
public:
    explicit HookedWatcher(FakeIo& io) : CDirectoryChangeWatcher(io, false, 1) {}
    ~HookedWatcher() override { UnwatchAllDirectories(); }

    std::atomic<DWORD> startedOn{0}, endedOn{0};
    std::atomic<int> priorityAtEnd{-100};

protected:
    void OnThreadStart() override { startedOn = GetCurrentThreadId(); }
    void OnThreadExit() override
    {
        endedOn = GetCurrentThreadId();
        priorityAtEnd = GetThreadPriority(GetCurrentThread());
    }
};

class EngineWorker : public FaultFixture
{
protected:
    HookedWatcher hooked{io};

    ~EngineWorker() override { hooked.UnwatchAllDirectories(); }
    DWORD WatchHooked() { return hooked.WatchDirectory(folder.Path(), &handler); }
    CString Sub(const wchar_t* name)
    {
        std::filesystem::create_directories(folder.Path(name).GetString());
        return folder.Path(name);
    }
};

TEST_F(EngineWorker, ItsStartAndItsEndAreToldOnItsOwnThread)
{
    ASSERT_EQ(WatchHooked(), 0u);
    EXPECT_NE(hooked.startedOn, 0u);
    EXPECT_NE(hooked.startedOn, GetCurrentThreadId());
    hooked.UnwatchDirectory(folder.Path().GetString());
    EXPECT_EQ(hooked.endedOn, 0u);
    hooked.UnwatchAllDirectories();
    EXPECT_EQ(hooked.endedOn, hooked.startedOn);
}

TEST_F(EngineWorker, AWaitThatFailsWithANullKeyEndsIt)
{
    ASSERT_EQ(WatchHooked(), 0u);
    const KernelHandle worker(OpenThread(SYNCHRONIZE, FALSE, hooked.startedOn));
    io.EndWaits({ERROR_INVALID_HANDLE});
    EXPECT_EQ(WaitForSingleObject(worker.Get(), Long), WAIT_OBJECT_0);
    EXPECT_EQ(hooked.endedOn, hooked.startedOn);
}

TEST_F(EngineWorker, AWaitThatIsOverWithoutAPacketIsBegunAnewAndSpeaksOfNoWatch)
{
    ASSERT_EQ(WatchHooked(), 0u);
    io.Complete(Bytes(1, L"before"));
    ASSERT_TRUE(io.WaitForRead(2));
    io.EndWaits({WAIT_TIMEOUT, WAIT_TIMEOUT});
    io.Complete(Bytes(1, L"after"));
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"after")));
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"before"), At(L"+", L"after")}));
    EXPECT_EQ(hooked.endedOn, 0u);
}

TEST_F(EngineWorker, APacketThatComesLateFindsNothing)
{
    ASSERT_EQ(WatchHooked(), 0u);
    const ULONG_PTR key = io.lastKey;
    hooked.UnwatchDirectory(folder.Path().GetString());
    OVERLAPPED late = {};
    io.PostLate(key, &late);
    ASSERT_EQ(WatchHooked(), 0u);
    EXPECT_NE(io.lastKey, key);
    EXPECT_TRUE(handler.WaitForEvents(3));
    EXPECT_EQ(handler.Events(), (Events{Started(), Stopped(), Started()}));
}

TEST_F(EngineWorker, ReadsThatFailAreLossesUntilTheSixteenthInARowEndsTheWatch)
{
    ASSERT_EQ(Watch(), 0u);
    int reads = 1;
    const auto fail = [&](int times) {
        for (int i = 0; i < times; ++i, ++reads) {
            ASSERT_TRUE(io.WaitForRead(reads));
            io.Fail();
        }
    };
    fail(15);
    ASSERT_TRUE(io.WaitForRead(reads++));
    io.Complete(Bytes(1, L"a")); // from here on they are counted anew
    fail(15);
    ASSERT_TRUE(io.WaitForRead(reads));
    EXPECT_TRUE(watcher.IsWatchingDirectory(folder.Path()));
    EXPECT_EQ(handler.Count(At(L"+", L"a")), 1);
    fail(1);
    EXPECT_TRUE(handler.WaitFor(At(L"error 30 ")));
    EXPECT_TRUE(UntilNotWatching());
    EXPECT_EQ(handler.Count(Lost()), 31);
    watcher.UnwatchAllDirectories();
    EXPECT_EQ(handler.Count(Stopped()), 0);
}

TEST_F(EngineWorker, AFreedSlotIsTakenBeforeTheArrayGrows)
{
    const CString one = Sub(L"one"), two = Sub(L"two"), three = Sub(L"three");
    ASSERT_EQ(watcher.WatchDirectory(one, &handler), 0u);
    ASSERT_EQ(watcher.WatchDirectory(two, &handler), 0u);
    watcher.UnwatchDirectory(one.GetString());
    ASSERT_EQ(watcher.WatchDirectory(three, &handler), 0u);
    watcher.UnwatchAllDirectories(); // in the order of the slots
    const Events events = handler.Events();
    EXPECT_EQ(Events(events.end() - 2, events.end()),
              (Events{L"stopped " + std::wstring(three), L"stopped " + std::wstring(two)}));
}

TEST_F(EngineWorker, AReReadThatFailsIsToldWithTheHighestPriorityWhichIsPutBack)
{
    ASSERT_EQ(WatchHooked(), 0u);
    std::atomic<int> priority{THREAD_PRIORITY_NORMAL};
    io.beforeClose = [&] { priority = GetThreadPriority(GetCurrentThread()); };
    io.readError = ERROR_ACCESS_DENIED;
    io.Complete(Bytes(1, L"a"));
    EXPECT_TRUE(handler.WaitFor(At(L"error 5 ")));
    EXPECT_TRUE(Until([&] { return !hooked.IsWatchingDirectory(folder.Path()); })); // the worker ends the watch
    hooked.UnwatchAllDirectories();
    EXPECT_EQ(priority, THREAD_PRIORITY_HIGHEST);
    EXPECT_EQ(hooked.priorityAtEnd, THREAD_PRIORITY_NORMAL);
}

// A window of the calling thread that counts what is dispatched to it.
class CountingWindow
{
public:
    static constexpr UINT Counted = WM_APP + 1;

    CountingWindow() : m_window(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr))
    {
        s_count = 0;
        s_counted.ResetEvent();
        SetWindowLongPtrW(m_window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Procedure));
    }
    ~CountingWindow() { DestroyWindow(m_window); }
    CountingWindow(const CountingWindow&) = delete;
    CountingWindow& operator=(const CountingWindow&) = delete;

    bool Post() { return PostMessageW(m_window, Counted, 0, 0) != FALSE; }
    static int Count() { return s_count; }
    static bool WaitUntilCounted(DWORD milliseconds) { return s_counted.Lock(milliseconds); }

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == Counted) {
            ++s_count;
            s_counted.SetEvent();
        }
        return DefWindowProcW(window, message, wParam, lParam);
    }
    static inline int s_count = 0;
    static inline CEvent s_counted{false, true};
    const HWND m_window;
};

TEST_F(EngineWorker, WaitingForAStartDispatchesNoMessagesWaitingForAStopDoes)
{
    CountingWindow window;
    ASSERT_TRUE(window.Post());
    ASSERT_EQ(Watch(), 0u);
    EXPECT_EQ(window.Count(), 0);
    // The stop takes as long as the message waits.
    handler.onEvent = [&](const std::wstring& told) {
        if (told == Stopped())
            window.WaitUntilCounted(Long);
    };
    Unwatch();
    EXPECT_EQ(window.Count(), 1);
}

TEST_F(EngineWorker, ARequestToQuitThatComesDuringAStopIsPutBackAndDoesNotCutTheStopShort)
{
    CountingWindow window;
    ASSERT_EQ(Watch(), 0u);
    PostQuitMessage(7);
    ASSERT_TRUE(window.Post());
    EXPECT_TRUE(Unwatch());
    EXPECT_EQ(handler.Count(Stopped()), 1);
    MSG message = {};
    EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 7u);
}

} // namespace

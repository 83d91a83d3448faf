// Watches that several threads start and end at once.
#include "mfc/CEvent.h"
#include "support/Handle.h"
#include "tests/directory_changes/FaultFixture.h"
#include "tests/directory_changes/NotifierSeams.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

namespace
{

class EngineThreads : public FaultFixture
{
protected:
    CEvent reached{false, true}, go{false, true};

    ~EngineThreads() override { go.SetEvent(); }

    CString Sub(const wchar_t* name)
    {
        std::filesystem::create_directories(folder.Path(name).GetString());
        return folder.Path(name);
    }
    // The notifier's thread, which runs the handlers, while there is one.
    static KernelHandle Notifier()
    {
        return KernelHandle(OpenThread(SYNCHRONIZE, FALSE, CDelayedNotificationThread::CurrentThreadId()));
    }
    // The notifier's thread.
    KernelHandle EndEverythingAtAnError()
    {
        handler.onEvent = [this](const std::wstring& told) {
            if (told != At(L"error 5 "))
                return;
            // The worker has taken the watch out, and waits for this thread to handle what it has posted.
            UntilNotWatching();
            watcher.UnwatchAllDirectories();
            reached.SetEvent();
        };
        EXPECT_EQ(Watch(), 0u);
        KernelHandle notifier = Notifier();
        io.readError = ERROR_ACCESS_DENIED;
        io.Complete(Bytes(1, L"a"));
        EXPECT_TRUE(reached.Lock(Long));
        return notifier;
    }
    // Holds the notifier when the handler is told this.
    void HoldAt(const std::wstring& event)
    {
        handler.onEvent = [this, event](const std::wstring& told) {
            if (told != event)
                return;
            reached.SetEvent();
            go.Lock(Long);
        };
    }
};

TEST_F(EngineThreads, AWatchThatIsAskedForWhileAllAreEndingIsRefused)
{
    const CString other = Sub(L"other");
    RecordingHandler second;
    ASSERT_EQ(Watch(), 0u);
    HoldAt(Stopped());
    std::thread ending([&] { watcher.UnwatchAllDirectories(); });
    EXPECT_TRUE(reached.Lock(Long));
    EXPECT_EQ(watcher.WatchDirectory(other, &second), DWORD(ERROR_OPERATION_ABORTED));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_OPERATION_ABORTED));
    EXPECT_FALSE(watcher.IsWatchingDirectory(other));
    go.SetEvent();
    ending.join();
    EXPECT_TRUE(second.Events().empty());
    EXPECT_EQ(watcher.WatchDirectory(other, &second), 0u);
}

TEST_F(EngineThreads, TheWorkerStaysUntilOtherThreadsHaveEndedTheirWatches)
{
    ASSERT_EQ(Watch(), 0u);
    HoldAt(Stopped());
    std::thread one([&] { Unwatch(); });
    EXPECT_TRUE(reached.Lock(Long));
    std::thread all([&] { watcher.UnwatchAllDirectories(); });
    // Watches are refused from the moment on in which all are being ended.
    io.openError = ERROR_ACCESS_DENIED;
    RecordingHandler second;
    const CString other = Sub(L"other");
    EXPECT_TRUE(Until([&] { return watcher.WatchDirectory(other, &second) == ERROR_OPERATION_ABORTED; }));
    EXPECT_EQ(io.endPackets, 0);
    go.SetEvent();
    one.join();
    all.join();
    EXPECT_EQ(io.endPackets, 1);
    EXPECT_EQ(handler.Events(), (Events{Started(), Stopped()}));
}

TEST_F(EngineThreads, AStopThatTheSystemTakesNoPacketForTellsTheHeldOldNameAndTheEnd)
{
    ASSERT_EQ(Watch(), 0u);
    io.Complete(Bytes(4, L"old"));
    ASSERT_TRUE(io.WaitForRead(2));
    io.refusePackets = true;
    EXPECT_TRUE(Unwatch());
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"-", L"old"), Stopped()}));
    io.refusePackets = false;
    EXPECT_EQ(Watch(), 0u);
}

TEST_F(EngineThreads, AStopThatTheSystemTakesNoPacketForTellsWhatTheReadHadGot)
{
    ASSERT_EQ(Watch(), 0u);
    io.refusePackets = true;
    io.beforeClose = [&] { io.Complete(Bytes(1, L"a")); };
    EXPECT_TRUE(Unwatch());
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"a"), Stopped()}));
}

// Holds the first event that the worker posts.
CEvent* g_reached;
CEvent* g_go;
std::atomic<bool> g_hold;

BOOL WINAPI PostThatHolds(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (g_hold.exchange(false)) {
        g_reached->SetEvent();
        g_go->Lock(Long);
    }
    return PostThreadMessageW(thread, message, wParam, lParam);
}

class EngineHeldWorker : public EngineThreads
{
protected:
    const PostFunctionScope post{PostThatHolds};

    EngineHeldWorker()
    {
        g_reached = &reached;
        g_go = &go;
    }
    ~EngineHeldWorker() override
    {
        go.SetEvent();
        watcher.UnwatchAllDirectories();
    }
    bool HoldWorkerAtChange(const wchar_t* name)
    {
        handler.WaitFor(Started()); // the notifier has been woken for that: the change asks for another wake-up
        g_hold = true;
        io.Complete(Bytes(1, name));
        return reached.Lock(Long);
    }
};

TEST_F(EngineHeldWorker, AStopWithoutAPacketDoesNotTouchWhatTheWorkerIsAt)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(HoldWorkerAtChange(L"a"));
    io.refusePackets = true;
    std::thread stopping([&] { Unwatch(); });
    EXPECT_TRUE(Until([&] { return io.refused >= 1; }));
    EXPECT_EQ(handler.Events(), Events{Started()});
    go.SetEvent();
    stopping.join();
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"a"), Stopped()}));
}

TEST_F(EngineHeldWorker, AStopWithoutAPacketThatOvertakesItsStartEndsBoth)
{
    RecordingHandler second;
    const CString other = Sub(L"other");
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(HoldWorkerAtChange(L"a"));
    const int posted = io.posted;
    DWORD result = 0;
    std::thread starting([&] { result = watcher.WatchDirectory(other, &second); });
    EXPECT_TRUE(Until([&] { return io.posted > posted; }));
    io.refusePackets = true;
    EXPECT_TRUE(watcher.UnwatchDirectory(other.GetString()));
    starting.join();
    EXPECT_EQ(result, DWORD(ERROR_OPERATION_ABORTED));
    EXPECT_EQ(second.Events(), Events{L"stopped " + std::wstring(other)});
    io.refusePackets = false;
    go.SetEvent();
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"a")));
}

TEST_F(EngineThreads, AHandlerThatIsToldOfAnErrorMayEndEverythingWhileTheWorkerDoes)
{
    // Another watch keeps the notifier, which this one would otherwise end with itself.
    RecordingHandler second;
    CDirectoryChangeWatcher other;
    ASSERT_EQ(other.WatchDirectory(folder.Path(), &second), 0u);
    EndEverythingAtAnError();
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"a"), At(L"error 5 ")}));
}

// There the worker lets the last watch go, and with it the notifier that runs the handler.
TEST_F(EngineThreads, AHandlerThatIsToldOfTheLastWatchsErrorMayEndEverythingWhileTheWorkerDoes)
{
    const KernelHandle notifier = EndEverythingAtAnError();
    EXPECT_EQ(WaitForSingleObject(notifier.Get(), Long), WAIT_OBJECT_0);
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), 0u);
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"a"), At(L"error 5 ")}));
}

TEST_F(EngineThreads, AHandlerThatIsToldOfAnErrorMayWatchAgainWhileTheWorkerEndsTheWatch)
{
    const CString other = Sub(L"other");
    RecordingHandler second;
    CEvent watched(false, true);
    handler.onEvent = [&](const std::wstring& told) {
        if (told != At(L"error 5 "))
            return;
        // The worker has taken the watch out, and waits for this thread to handle what it has posted.
        UntilNotWatching();
        io.readError = ERROR_SUCCESS;
        EXPECT_EQ(watcher.WatchDirectory(other, &second), 0u);
        watched.SetEvent();
    };
    ASSERT_EQ(Watch(), 0u);
    io.readError = ERROR_ACCESS_DENIED;
    io.Complete(Bytes(1, L"a"));
    EXPECT_TRUE(watched.Lock(Long));
    EXPECT_TRUE(watcher.IsWatchingDirectory(other));
    EXPECT_TRUE(second.WaitFor(L"started 0 " + std::wstring(other)));
}

TEST_F(EngineThreads, AHandlerMayDestroyItsWatcher)
{
    auto real = std::make_unique<CDirectoryChangeWatcher>();
    RecordingHandler own;
    CEvent destroyed(false, true);
    own.onEvent = [&](const std::wstring& told) {
        if (told[0] != L'+' || !real)
            return;
        real.reset();
        destroyed.SetEvent();
    };
    ASSERT_EQ(real->WatchDirectory(folder.Path(), &own), 0u);
    const KernelHandle notifier = Notifier();
    folder.WriteBytes(L"a.txt", "x");
    EXPECT_TRUE(destroyed.Lock(Long));
    EXPECT_EQ(WaitForSingleObject(notifier.Get(), Long), WAIT_OBJECT_0);
    EXPECT_EQ(own.Count(L"stopped " + std::wstring(folder.Path())), 1);
}

TEST_F(EngineThreads, NoEventReachesAHandlerAfterItsUnwatchReturned)
{
    constexpr int rounds = 50;
    CDirectoryChangeWatcher real;
    std::atomic<bool> writing{true};
    std::thread writer([&] {
        for (int i = 0; writing; ++i)
            folder.WriteBytes((L"f" + std::to_wstring(i % 50)).c_str(), "x");
    });
    std::vector<std::unique_ptr<RecordingHandler>> handlers;
    std::vector<std::size_t> told;
    for (int round = 0; round < rounds; ++round) {
        RecordingHandler& own = *handlers.emplace_back(std::make_unique<RecordingHandler>());
        EXPECT_EQ(real.WatchDirectory(folder.Path(), &own), 0u);
        EXPECT_TRUE(own.WaitForEvents(3));
        EXPECT_TRUE(real.UnwatchDirectory(folder.Path().GetString()));
        told.push_back(own.Events().size());
    }
    writing = false;
    writer.join();
    for (std::size_t i = 0; i < rounds; ++i)
        EXPECT_EQ(handlers[i]->Events().size(), told[i]);
}

TEST_F(EngineThreads, ManyThreadsStartAndEndWatchesAndNoneIsLeftOver)
{
    constexpr int rounds = 40;
    CDirectoryChangeWatcher real;
    RecordingHandler handlers[3];
    const CString paths[] = {Sub(L"a"), Sub(L"b"), Sub(L"c")};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < rounds; ++round) {
                real.WatchDirectory(paths[i], &handlers[i]);
                real.UnwatchDirectory(paths[i].GetString());
            }
        });
    threads.emplace_back([&] {
        for (int round = 0; round < rounds; ++round)
            real.UnwatchAllDirectories();
    });
    for (std::thread& thread : threads)
        thread.join();
    real.UnwatchAllDirectories();
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), 0u);
    for (int i = 0; i < 3; ++i)
        EXPECT_GE(handlers[i].Count(L"stopped " + std::wstring(paths[i])),
                  handlers[i].Count(L"started 0 " + std::wstring(paths[i])));
}

} // namespace

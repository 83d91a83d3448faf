// Watches that several threads end at once, from outside and from inside events.
#include "mfc/CEvent.h"
#include "support/Handle.h"
#include "tests/directory_changes/FaultFixture.h"
#include "tests/directory_changes/Watchdog.h"
#include "tests/directory_changes/WindowedThread.h"
#include "tests/support/ImportedCall.h"

#include "directory_changes/DelayedNotificationThread.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

namespace
{

class EndingWatches : public FaultFixture
{
protected:
    Watchdog watchdog{"EndingWatches"};
    CEvent reached{false, true}, go{false, true}, done{false, true};
    FakeIo secondIo;

    ~EndingWatches() override
    {
        go.SetEvent();
        watcher.UnwatchAllDirectories();
    }

    CString Sub(const wchar_t* name)
    {
        std::filesystem::create_directories(folder.Path(name).GetString());
        return folder.Path(name);
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
    // Runs inside the event, once the watch has been taken out by another thread.
    void OnceItIsBeingEndedAt(const std::wstring& event, std::function<void()> call)
    {
        handler.onEvent = [this, event, call = std::move(call)](const std::wstring& told) {
            if (told != event)
                return;
            reached.SetEvent();
            EXPECT_TRUE(UntilNotWatching());
            call();
            done.SetEvent();
        };
    }
};

TEST_F(EndingWatches, AHandlerMayEndEverythingWhileAnotherThreadEndsTheLastWatch)
{
    OnceItIsBeingEndedAt(At(L"+", L"a"), [this] { watcher.UnwatchAllDirectories(); });
    ASSERT_EQ(Watch(), 0u);
    io.Complete(Bytes(1, L"a"));
    ASSERT_TRUE(reached.Lock(Long));
    EXPECT_TRUE(Unwatch());
    EXPECT_TRUE(done.Lock(Long));
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"a"), Stopped()}));
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), 0u);
}

TEST_F(EndingWatches, AHandlerMayEndEverythingAfterTheLastWatchsErrorWhileAThreadBeginsAWatch)
{
    const CString other = Sub(L"other");
    RecordingHandler second;
    OnceItIsBeingEndedAt(At(L"error 5 "), [this] { watcher.UnwatchAllDirectories(); });
    ASSERT_EQ(Watch(), 0u);
    CEvent opening(false, true);
    io.beforeOpen = [&] {
        opening.SetEvent();
        go.Lock(Long);
    };
    std::thread beginning([&] { watcher.WatchDirectory(other, &second); });
    ASSERT_TRUE(opening.Lock(Long));
    io.readError = ERROR_ACCESS_DENIED;
    io.Complete(Bytes(1, L"a"));
    // The handler has ended everything, or waits until the last watch has gone and its notifier with it.
    EXPECT_TRUE(Until([&] { return IsSignalled(done) || CDelayedNotificationThread::CurrentThreadId() == 0; }));
    io.readError = ERROR_SUCCESS;
    go.SetEvent();
    beginning.join();
    EXPECT_TRUE(done.Lock(Long));
    watcher.UnwatchAllDirectories();
    EXPECT_FALSE(watcher.IsWatchingDirectory(other));
}

TEST_F(EndingWatches, AnUnwatchWaitsForTheOneOfAnotherThread)
{
    HoldAt(Stopped());
    ASSERT_EQ(Watch(), 0u);
    std::thread first([this] { Unwatch(); });
    ASSERT_TRUE(reached.Lock(Long));
    for (const std::function<void()>& end : {std::function<void()>([this] { Unwatch(); }),
                                             std::function<void()>([this] { watcher.UnwatchDirectory(&handler); }),
                                             std::function<void()>([this] { watcher.UnwatchAllDirectories(); })}) {
        go.ResetEvent();
        WindowedThread second(end);
        EXPECT_TRUE(second.WaitsNow());
        if (HasFailure())
            break;
        go.SetEvent();
        second.Join();
        first.join();
        reached.ResetEvent();
        go.ResetEvent();
        ASSERT_EQ(Watch(), 0u);
        first = std::thread([this] { Unwatch(); });
        ASSERT_TRUE(reached.Lock(Long));
    }
    go.SetEvent();
    first.join();
}

// Holds the notifier in its last event. Nothing of it is destroyed before its base waits.
class HeldHandler : public CDirectoryChangeHandler
{
public:
    HeldHandler(CEvent& reached, CEvent& go) : m_reached(reached), m_go(go) {}
    void OnWatchStopped(const wchar_t*) override
    {
        CEvent& go = m_go;
        m_reached.SetEvent();
        go.Lock(Long);
    }

private:
    CEvent& m_reached;
    CEvent& m_go;
};

TEST_F(EndingWatches, ADyingHandlerWaitsForTheUnwatchOfAnotherThread)
{
    auto held = std::make_unique<HeldHandler>(reached, go);
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), held.get()), 0u);
    std::thread first([this] { Unwatch(); });
    ASSERT_TRUE(reached.Lock(Long));
    WindowedThread second([&] { held.reset(); });
    EXPECT_TRUE(second.WaitsNow());
    go.SetEvent();
    second.Join();
    first.join();
}

TEST_F(EndingWatches, AnUnwatchWaitsForTheEventThatIsBeingHandledEvenIfItEndsTheWatchItself)
{
    handler.onEvent = [this](const std::wstring& told) {
        if (told != At(L"+", L"a"))
            return;
        Unwatch();
        reached.SetEvent();
        go.Lock(Long);
    };
    ASSERT_EQ(Watch(), 0u);
    io.Complete(Bytes(1, L"a"));
    ASSERT_TRUE(reached.Lock(Long));
    WindowedThread second([this] { Unwatch(); });
    EXPECT_TRUE(second.WaitsNow());
    go.SetEvent();
}

TEST_F(EndingWatches, AHandlerThatIsToldOfAStopMayEndAnotherWatch)
{
    const CString other = Sub(L"other");
    RecordingHandler second;
    ASSERT_EQ(Watch(), 0u);
    ASSERT_EQ(watcher.WatchDirectory(other, &second), 0u);
    handler.onEvent = [&](const std::wstring& told) {
        if (told == Stopped()) {
            EXPECT_TRUE(watcher.UnwatchDirectory(&second));
        }
    };
    EXPECT_TRUE(Unwatch());
    EXPECT_EQ(second.Count(L"stopped " + std::wstring(other)), 1);
}

TEST_F(EndingWatches, AHandlerMayEndEverythingInsideACallThatDoesAndWhoseEndPacketIsRefused)
{
    const CString other = Sub(L"other");
    CDirectoryChangeWatcher second(secondIo, false, 1);
    RecordingHandler inner;
    ASSERT_EQ(second.WatchDirectory(other, &inner), 0u);
    ASSERT_TRUE(inner.WaitFor(L"started 0 " + std::wstring(other)));
    inner.onEvent = [&](const std::wstring&) { watcher.UnwatchAllDirectories(); };
    handler.onEvent = [&](const std::wstring& told) {
        if (told != At(L"+", L"a"))
            return;
        // The event that comes now is dispatched before the packet is posted again.
        io.beforeRefusedEnd = [&] {
            secondIo.Complete(Bytes(1, L"b"));
            EXPECT_TRUE(secondIo.WaitForRead(2));
        };
        watcher.UnwatchAllDirectories();
        done.SetEvent();
    };
    ASSERT_EQ(Watch(), 0u);
    io.Complete(Bytes(1, L"a"));
    EXPECT_TRUE(done.Lock(Long));
    inner.onEvent = nullptr;
}

TEST_F(EndingWatches, AHandlerThatBeginsItsOnlyWatchAgainFromInsideAnEventStaysOnItsNotifier)
{
    std::atomic<DWORD> inside{0}, notifier{1};
    handler.onEvent = [&](const std::wstring& told) {
        if (told != At(L"+", L"a"))
            return;
        EXPECT_TRUE(Unwatch());
        EXPECT_EQ(Watch(), 0u);
        inside = GetCurrentThreadId();
        notifier = CDelayedNotificationThread::CurrentThreadId();
        done.SetEvent();
    };
    ASSERT_EQ(Watch(), 0u);
    io.Complete(Bytes(1, L"a"));
    ASSERT_TRUE(done.Lock(Long));
    EXPECT_EQ(inside, notifier);
    io.Complete(Bytes(1, L"b"));
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"b")));
}

TEST_F(EndingWatches, OfTwoThreadsThatWatchOnePathAtOnceOneWatchRemains)
{
    RecordingHandler second;
    // The first thread has found no watch of the path, and is about to open it.
    io.beforeOpen = [&] { std::thread([&] { EXPECT_EQ(watcher.WatchDirectory(folder.Path(), &second), 0u); }).join(); };
    ASSERT_EQ(Watch(), 0u);
    EXPECT_EQ(second.Events(), (Events{Started(), Stopped()}));
    EXPECT_TRUE(watcher.UnwatchDirectory(&handler));
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
}

TEST_F(EndingWatches, ANotifierThatWasAskedToQuitLeavesNothingBehindAndTheNextWatchGetsAnother)
{
    const CString one = Sub(L"one"), two = Sub(L"two");
    RecordingHandler first, second;
    ASSERT_EQ(watcher.WatchDirectory(one, &first), 0u);
    ASSERT_EQ(watcher.WatchDirectory(two, &second), 0u);
    const DWORD id = CDelayedNotificationThread::CurrentThreadId();
    const KernelHandle notifier(OpenThread(SYNCHRONIZE, FALSE, id));
    ASSERT_TRUE(PostThreadMessageW(id, WM_QUIT, 0, 0));
    ASSERT_EQ(WaitForSingleObject(notifier.Get(), Long), WAIT_OBJECT_0);
    EXPECT_TRUE(watcher.UnwatchDirectory(one.GetString()));
    ASSERT_EQ(Watch(), 0u);
    EXPECT_TRUE(handler.WaitFor(Started()));
    watcher.UnwatchAllDirectories();
    EXPECT_EQ(handler.Count(Stopped()), 1);
    EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), 0u);
}

TEST_F(EndingWatches, AWatchWhoseNotifierHasEndedIsEndedAtItsNextChange)
{
    ASSERT_EQ(Watch(), 0u);
    const DWORD id = CDelayedNotificationThread::CurrentThreadId();
    const KernelHandle notifier(OpenThread(SYNCHRONIZE, FALSE, id));
    ASSERT_TRUE(PostThreadMessageW(id, WM_QUIT, 0, 0));
    ASSERT_EQ(WaitForSingleObject(notifier.Get(), Long), WAIT_OBJECT_0);
    io.Complete(Bytes(1, L"a"));
    EXPECT_TRUE(UntilNotWatching());
}

std::atomic<DWORD> g_threadWithoutMemory{0};

void* RefusedMalloc(std::size_t size)
{
    static const auto original = reinterpret_cast<void* (*)(std::size_t)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "malloc")));
    return g_threadWithoutMemory == GetCurrentThreadId() && !LockOrder::IsAtWork() ? nullptr : original(size);
}

// The calling thread gets no memory.
class WithoutMemory
{
public:
    WithoutMemory() { g_threadWithoutMemory = GetCurrentThreadId(); }
    ~WithoutMemory() { g_threadWithoutMemory = 0; }
    WithoutMemory(const WithoutMemory&) = delete;
    WithoutMemory& operator=(const WithoutMemory&) = delete;

private:
    const ImportedCall m_own{nullptr, "malloc", RefusedMalloc};
    const ImportedCall m_library{L"libstdc++-6.dll", "malloc", RefusedMalloc};
};

TEST_F(EndingWatches, EndingAsksForNoMemory)
{
    const CString other = Sub(L"other");
    auto dying = std::make_unique<CDirectoryChangeHandler>();
    ASSERT_EQ(watcher.WatchDirectory(other, dying.get()), 0u);
    ASSERT_EQ(Watch(), 0u);
    const CString path = folder.Path();
    bool unwatched = false, unwatchedAll = false;
    // On a thread that the engine has not met before.
    std::thread([&] {
        const WithoutMemory without;
        dying.reset();
        unwatched = watcher.UnwatchDirectory(path.GetString());
        unwatchedAll = watcher.UnwatchAllDirectories();
    }).join();
    EXPECT_TRUE(unwatched);
    EXPECT_TRUE(unwatchedAll);
    EXPECT_FALSE(watcher.IsWatchingDirectory(other));
}

TEST_F(EndingWatches, AWatchThatThereIsNoMemoryForIsRefused)
{
    const CString path = folder.Path();
    DWORD error = 0;
    {
        const WithoutMemory without;
        error = watcher.WatchDirectory(path, &handler);
    }
    EXPECT_TRUE(error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_OUTOFMEMORY) << error;
    EXPECT_EQ(Watch(), 0u);
}

TEST_F(EndingWatches, AServerThatAnswersEveryReadWithoutAChangeIsGivenUp)
{
    ASSERT_EQ(Watch(), 0u);
    io.emptyReads = true;
    io.Complete({});
    EXPECT_TRUE(handler.WaitFor(At(L"error 30 ")));
    io.emptyReads = false;
    EXPECT_TRUE(UntilNotWatching());
    EXPECT_GE(handler.Count(Lost()), 1);
}

} // namespace

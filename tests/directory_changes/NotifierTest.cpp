// The shared notifier thread: what wakes it, what it takes, and what ends it.
#include "directory_changes/DelayedDirectoryChangeHandler.h"
#include "directory_changes/DelayedNotificationThread.h"
#include "mfc/CEvent.h"
#include "support/Handle.h"
#include "tests/directory_changes/FaultFixture.h"
#include "tests/directory_changes/Retire.h"
#include "tests/directory_changes/Watchdog.h"
#include "tests/support/ImportedCall.h"

#include <gtest/gtest.h>

#include <process.h>

#include <cstdlib>

namespace
{

class Notifier : public FaultFixture
{
protected:
    Watchdog watchdog{"Notifier"};

    static KernelHandle Thread()
    {
        return KernelHandle(OpenThread(SYNCHRONIZE, FALSE, CDelayedNotificationThread::CurrentThreadId()));
    }
    bool Tell(const wchar_t* name)
    {
        const int reads = io.reads;
        io.Complete(Bytes(1, name));
        return io.WaitForRead(reads + 1);
    }
    // Runs the message loop of a handler until the notifier's next wake-up, which it swallows.
    static void SwallowOneWakeUp()
    {
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != WM_DELAYED_EVENT)
            DispatchMessageW(&message);
    }
};

TEST_F(Notifier, AHandlersOwnMessageLoopMaySwallowAWakeUp)
{
    ASSERT_EQ(Watch(), 0u);
    ASSERT_TRUE(handler.WaitFor(Started()));
    CEvent inside(false, true);
    handler.onEvent = [&](const std::wstring& told) {
        if (told != At(L"+", L"a"))
            return;
        inside.SetEvent();
        SwallowOneWakeUp();
    };
    ASSERT_TRUE(Tell(L"a"));
    ASSERT_TRUE(inside.Lock(Long));
    ASSERT_TRUE(Tell(L"b")); // wakes the loop of the handler
    ASSERT_TRUE(handler.WaitFor(At(L"+", L"b")));
    ASSERT_TRUE(Until([] { return CDelayedNotificationThread::Queued() == 0; }));
    ASSERT_TRUE(Tell(L"c"));
    EXPECT_TRUE(handler.WaitFor(At(L"+", L"c")));
}

TEST_F(Notifier, AnEventThatIsPostedAsAMessageIsDispatched)
{
    CDelayedDirectoryChangeHandler delayed(&handler, false, 1);
    DelayedEvent* const event = MakeDelayedEvent(&delayed, EventAdded, L"C:\\posted", nullptr, 0, 0);
    ASSERT_TRUE(PostThreadMessageW(CDelayedNotificationThread::CurrentThreadId(), WM_DELAYED_EVENT, 0,
                                   reinterpret_cast<LPARAM>(event)));
    EXPECT_TRUE(handler.WaitFor(L"+C:\\posted"));
    Retire(delayed);
    delayed.Delivery().TakeHandler();
}

std::atomic<void*> g_watchedBlock{nullptr};
CEvent* g_blockFreed = nullptr;

void NotedFree(void* block)
{
    static const auto original = reinterpret_cast<void (*)(void*)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "free")));
    if (block && block == g_watchedBlock)
        g_blockFreed->SetEvent();
    original(block);
}

TEST_F(Notifier, AnEventOfNoHandlerThatIsPostedAsAMessageIsFreed)
{
    CEvent freed(false, true);
    g_blockFreed = &freed;
    const ImportedCall call(nullptr, "free", NotedFree);
    ASSERT_EQ(Watch(), 0u);
    DelayedEvent* const event = MakeDelayedEvent(nullptr, EventAdded, L"C:\\posted", nullptr, 0, 0);
    g_watchedBlock = event;
    ASSERT_TRUE(PostThreadMessageW(CDelayedNotificationThread::CurrentThreadId(), WM_DELAYED_EVENT, 0,
                                   reinterpret_cast<LPARAM>(event)));
    EXPECT_TRUE(freed.Lock(Long));
    Unwatch();
    g_watchedBlock = nullptr;
}

std::uintptr_t RefusedThread(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned, unsigned*)
{
    SetLastError(ERROR_SUCCESS);
    return 0;
}

TEST_F(Notifier, AThreadThatCannotBeStartedIsAnErrorAlsoWhenTheSystemNamesNone)
{
    {
        const ImportedCall call(nullptr, "_beginthreadex", RefusedThread);
        EXPECT_EQ(Watch(), DWORD(ERROR_MAX_THRDS_REACHED));
    }
    EXPECT_FALSE(watcher.IsWatchingDirectory(folder.Path()));
    EXPECT_EQ(Watch(), 0u);
}

} // namespace

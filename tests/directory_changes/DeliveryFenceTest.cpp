// When a delayed handler has dispatched everything, and what it still posts until then.
#include "directory_changes/DeliveryFence.h"

#include "directory_changes/DelayedDirectoryChangeHandler.h"
#include "directory_changes/EventPoster.h"
#include "support/Handle.h"
#include "tests/directory_changes/FakeNotifier.h"
#include "tests/directory_changes/RecordingHandler.h"
#include "tests/directory_changes/Retire.h"

#include <gtest/gtest.h>

namespace
{

struct CountingListener final : FenceListener {
    int drained = 0, idle = 0;
    void OnDrained() noexcept override { ++drained; }
    std::shared_ptr<const void> OnIdle() noexcept override
    {
        ++idle;
        return nullptr;
    }
};

class Fence : public testing::Test
{
protected:
    RecordingHandler real;
    CDelayedDirectoryChangeHandler handler{&real, false, 1}; // whose events they are
    FakeNotifier notifier;
    CountingListener listener;
    DeliveryFence fence{handler, notifier, &listener};
    EventPoster poster{handler, notifier, fence};

    ~Fence() override
    {
        handler.Delivery().TakeHandler();
        Retire(handler);
    }
    bool IsDrained() const { return IsSignalled(fence.Drained()); }
    bool IsIdle() const { return IsSignalled(fence.Idle()); }
};

TEST_F(Fence, IsTheLastEvent)
{
    EXPECT_TRUE(poster.Post(EventAdded, L"C:\\a"));
    fence.Post();
    fence.Post();
    EXPECT_FALSE(poster.Post(EventAdded, L"C:\\b"));
    ASSERT_EQ(notifier.events.size(), 2u);
    EXPECT_EQ(notifier.events.back()->code, EventFence);
    EXPECT_FALSE(IsDrained());
}

TEST_F(Fence, LeavesTheNotifierOnlyAfterTheEventsInProgress)
{
    fence.Post();
    fence.BeginEvent();
    fence.BeginEvent();
    fence.Pass(true);
    EXPECT_TRUE(IsDrained());
    fence.EndEvent();
    EXPECT_FALSE(IsIdle());
    EXPECT_EQ(notifier.left, 0);
    fence.EndEvent();
    EXPECT_TRUE(IsIdle());
    EXPECT_EQ(notifier.left, 1);
    EXPECT_EQ(listener.drained + listener.idle, 2);
}

TEST_F(Fence, IsPassedOnceByThePostThatIsRefused)
{
    notifier.hasEnded = true;
    fence.Post();
    fence.PassOfEndedNotifier();
    EXPECT_TRUE(IsDrained() && IsIdle());
    EXPECT_EQ(listener.drained, 1);
    EXPECT_EQ(listener.idle, 1);
}

TEST_F(Fence, IsPassedForANotifierThatEndsWithoutDispatchingIt)
{
    fence.PassOfEndedNotifier();
    EXPECT_FALSE(IsDrained());
    fence.Post();
    fence.PassOfEndedNotifier();
    EXPECT_FALSE(IsDrained());
    notifier.hasEnded = true;
    fence.PassOfEndedNotifier();
    EXPECT_TRUE(IsDrained() && IsIdle());
    EXPECT_EQ(notifier.closed, 1);
}

TEST_F(Fence, AnEventThatTheNotifierRefusesShowsThatItHasEnded)
{
    EXPECT_FALSE(poster.HasNotifierEnded());
    notifier.hasEnded = true;
    EXPECT_FALSE(poster.Post(EventAdded, L"C:\\a"));
    EXPECT_TRUE(poster.HasNotifierEnded());
}

} // namespace

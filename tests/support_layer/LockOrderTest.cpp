#include "support/RankedSection.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

class LockOrders : public testing::Test
{
protected:
    ~LockOrders() override { LockOrder::Clear(); } // what was provoked here is no finding
    static std::size_t Reports() { return LockOrder::Reports().size(); }
};

TEST_F(LockOrders, TwoLocksInTheirOrderAreGood)
{
    RankedSection filter(LockRank::PrimaryFilter, L"t1 filter"), store(LockRank::Store, L"t1 store");
    {
        const CSingleLock outer(filter), inner(store);
    }
    EXPECT_EQ(Reports(), 0u);
}

TEST_F(LockOrders, ALowerRankInsideAHigherOneIsReportedOnce)
{
    RankedSection filter(LockRank::PrimaryFilter, L"t2 filter"), store(LockRank::Store, L"t2 store");
    for (int i = 0; i < 2; ++i) {
        const CSingleLock outer(store), inner(filter);
    }
    EXPECT_EQ(Reports(), 1u);
}

TEST_F(LockOrders, TwoLocksOfOneRankInBothOrdersAreReportedThoughNothingStopped)
{
    RankedSection a(LockRank::Leaf, L"t3 a"), b(LockRank::Leaf, L"t3 b");
    {
        const CSingleLock outer(a), inner(b);
    }
    EXPECT_EQ(Reports(), 0u);
    {
        const CSingleLock outer(b), inner(a);
    }
    EXPECT_EQ(Reports(), 1u);
}

TEST_F(LockOrders, ReentryIsGood)
{
    RankedSection a(LockRank::Leaf, L"t4 a"), log(LockRank::Log, L"t4 log");
    {
        const CSingleLock outer(a), middle(log), again(a);
    }
    EXPECT_EQ(Reports(), 0u);
}

TEST_F(LockOrders, ACircleOverThreeLocksIsReported)
{
    RankedSection a(LockRank::Leaf, L"t5 a"), b(LockRank::Leaf, L"t5 b"), c(LockRank::Leaf, L"t5 c");
    {
        const CSingleLock outer(a), inner(b);
    }
    {
        const CSingleLock outer(b), inner(c);
    }
    EXPECT_EQ(Reports(), 0u);
    {
        const CSingleLock outer(c), inner(a);
    }
    EXPECT_EQ(Reports(), 1u);
}

TEST_F(LockOrders, WaitingForAThreadThatNeedsAHeldLockIsReported)
{
    RankedSection a(LockRank::Leaf, L"t6 a");
    std::thread worker([&] {
        const LockOrder::ThreadScope scope(L"t6 worker");
        const CSingleLock lock(a);
    });
    worker.join();
    EXPECT_EQ(Reports(), 0u);
    {
        const CSingleLock lock(a);
        const LockOrder::WaitScope wait(L"t6 worker");
    }
    EXPECT_EQ(Reports(), 1u);
}

} // namespace

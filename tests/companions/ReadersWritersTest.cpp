#include "companions/readerswriters/ReadersWriters.h"
#include "mfc/CEvent.h"
#include "support/RankedSection.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace
{

constexpr DWORD longEnoughMs = 30000;

TEST(ReadersWriters, LetsTwoReadersInAtOnce)
{
    ReadersWriters lock;
    CEvent firstInside(false, true);
    CEvent secondInside(false, true);
    bool firstMetSecond = false;
    std::thread first([&] {
        const ReadScope scope(lock);
        firstInside.SetEvent();
        firstMetSecond = secondInside.Lock(longEnoughMs);
    });
    bool secondMetFirst = false;
    {
        const ReadScope scope(lock);
        secondInside.SetEvent();
        secondMetFirst = firstInside.Lock(longEnoughMs);
    }
    first.join();
    EXPECT_TRUE(firstMetSecond);
    EXPECT_TRUE(secondMetFirst);
}

TEST(ReadersWriters, AReaderSeesAllThatTheWriterBeforeItDid)
{
    ReadersWriters lock;
    CEvent trying(false, true);
    int written = 0;
    int seen = -1;
    lock.StartWrite();
    std::thread reader([&] {
        trying.SetEvent();
        const ReadScope scope(lock);
        seen = written;
    });
    EXPECT_TRUE(trying.Lock(longEnoughMs));
    written = 1;
    lock.EndWrite();
    reader.join();
    EXPECT_EQ(seen, 1);
}

TEST(ReadersWriters, KeepsWritersApart)
{
    ReadersWriters lock;
    int left = 0;
    int right = 0;
    bool torn = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 5000; ++n) {
                const WriteScope scope(lock);
                torn = torn || left != right;
                ++left;
                ++right;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(torn);
    EXPECT_EQ(left, 20000);
    EXPECT_EQ(right, 20000);
}

TEST(ReadersWriters, ARawCopyOfAFreeLockIsAFreeLockOfItsOwn)
{
    ReadersWriters lock;
    lock.StartWrite();
    lock.EndWrite();
    ReadersWriters copy;
    std::memcpy(static_cast<void*>(&copy), static_cast<const void*>(&lock), sizeof(lock));

    const WriteScope original(lock);
    CEvent inside(false, true);
    std::thread other([&] {
        const WriteScope scope(copy);
        inside.SetEvent();
    });
    EXPECT_TRUE(inside.Lock(longEnoughMs));
    other.join();
}

TEST(ReadersWriters, ALockThatWasUsedIsLeftAsItBegan)
{
    ReadersWriters lock;
    const ReadersWriters fresh;
    lock.StartRead();
    lock.EndRead();
    lock.StartWrite();
    lock.EndWrite();
    EXPECT_EQ(std::memcmp(&lock, &fresh, sizeof(lock)), 0);
}

#ifdef ORB_LOCK_ORDER
TEST(ReadersWriters, HasAPlaceInTheLockOrder)
{
    ReadersWriters lock;
    RankedSection store(LockRank::Store, L"test store");
    RankedSection log(LockRank::Log, L"test log");
    {
        const CSingleLock outside(store);
        const WriteScope inside(lock);
        const CSingleLock innermost(log);
    }
    EXPECT_TRUE(LockOrder::Reports().empty());
    for (const bool writing : {false, true}) {
        LockOrder::Clear();
        writing ? lock.StartWrite() : lock.StartRead();
        store.Lock();
        store.Unlock();
        writing ? lock.EndWrite() : lock.EndRead();
        EXPECT_EQ(LockOrder::Reports().size(), 1u);
    }
    LockOrder::Clear(); // what was provoked here is no finding
}
#endif

} // namespace

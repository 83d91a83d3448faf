// The order in which the cache of the index and its database wait for each other.
#include "tests/companions/IndexTest.h"

#include <functional>
#include <thread>

namespace
{

class IndexCacheTurn : public IndexTest
{
protected:
    static constexpr ULONGLONG longEnoughMs = 30000;

    IndexCacheTurn()
    {
        Create();
        EXPECT_TRUE(db.RecordItem(Item(L"C:\\known")));
        EXPECT_TRUE(db.LoadCache());
    }

    static bool Knows(const wchar_t* path)
    {
        CachedDatum datum;
        return CIndexDB::GetCachedData(path, datum);
    }

    // Waits for a condition that another thread brings about; false when it never does.
    static bool ComesTrue(const std::function<bool()>& condition)
    {
        const ULONGLONG end = GetTickCount64() + longEnoughMs;
        while (!condition()) {
            if (GetTickCount64() > end)
                return false;
            std::this_thread::yield();
        }
        return true;
    }
};

TEST_F(IndexCacheTurn, RecordingIsNotInTheSectionWhileItWaitsForTheDatabase)
{
    ASSERT_TRUE(db.Open(1, 0, longEnoughMs));
    RawDatabase outside(temp.Path(fileName));
    ASSERT_EQ(outside.Run("BEGIN IMMEDIATE"), "");
    const std::uint64_t before = CIndexDB::StatementsPrepared();
    std::thread recorder([&] { EXPECT_TRUE(db.RecordItem(Item(L"C:\\new"))); });
    EXPECT_TRUE(ComesTrue([&] { return CIndexDB::StatementsPrepared() > before; }));
    // If the recorder held the section, this look-up would wait until the recorder gives up.
    EXPECT_FALSE(Knows(L"C:\\new"));
    EXPECT_EQ(outside.Run("COMMIT"), "");
    recorder.join();
    EXPECT_TRUE(Knows(L"C:\\new"));
}

// Held by this thread, the cache's section shows what is done without it: all that may take long.
TEST_F(IndexCacheTurn, ForgettingEntersTheSectionWhenTheDatabaseIsDone)
{
    RawDatabase outside(temp.Path(fileName));
    CSingleLock section(CIndexDB::m_csCache);
    std::thread forgetting([&] { EXPECT_TRUE(db.ForgetItem(L"C:\\known")); });
    EXPECT_TRUE(ComesTrue([&] { return outside.Run("SELECT count(*) FROM items NOT INDEXED") == "0"; }));
    EXPECT_TRUE(Knows(L"C:\\known"));
    section.Unlock();
    forgetting.join();
    EXPECT_FALSE(Knows(L"C:\\known"));
}

TEST_F(IndexCacheTurn, LoadingReadsTheTableWithoutTheSection)
{
    CSingleLock section(CIndexDB::m_csCache);
    const std::uint64_t before = CIndexDB::DatabaseLookups();
    std::thread loader([&] { EXPECT_TRUE(db.LoadCache()); });
    EXPECT_TRUE(ComesTrue([&] { return CIndexDB::DatabaseLookups() > before; }));
    section.Unlock();
    loader.join();
    EXPECT_TRUE(Knows(L"C:\\known"));
}

TEST_F(IndexCacheTurn, WhatIsRecordedWhileTheTableIsReadIsInTheNewCache)
{
    // Reading these takes much longer than recording one more.
    std::vector<ItemDatum> items;
    for (int i = 0; i < 10000; ++i)
        items.push_back(Item((L"C:\\many\\" + std::to_wstring(i)).c_str()));
    ASSERT_TRUE(db.RecordItems(items));
    CIndexDB loading;
    loading.SetDBFilePath(temp.Path(fileName));
    ASSERT_TRUE(loading.Open(0, 0, 0));
    const std::uint64_t before = CIndexDB::DatabaseLookups();
    std::thread loader([&] { EXPECT_TRUE(loading.LoadCache()); });
    EXPECT_TRUE(ComesTrue([&] { return CIndexDB::DatabaseLookups() > before; }));
    EXPECT_TRUE(db.RecordItem(Item(L"C:\\new")));
    EXPECT_TRUE(db.ForgetItem(L"C:\\known"));
    loader.join();
    EXPECT_TRUE(Knows(L"C:\\new"));
    EXPECT_FALSE(Knows(L"C:\\known"));
    EXPECT_TRUE(Knows(L"C:\\many\\9999"));
}

} // namespace

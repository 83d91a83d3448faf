#include "tests/companions/IndexTest.h"

#include <thread>

namespace
{

class IndexBatch : public IndexTest
{
protected:
    IndexBatch()
    {
        Create();
        SettingsDatum job;
        job.jobId = 1;
        EXPECT_TRUE(db.Insert(job));
    }

    std::size_t SeenByOthers()
    {
        CIndexDB other;
        other.SetDBFilePath(temp.Path(fileName));
        EXPECT_TRUE(other.Open(0, 0, 0));
        return other.GetDeletes(1).size();
    }
};

TEST_F(IndexBatch, RecordsAppearTogetherWhenItIsCommitted)
{
    ASSERT_TRUE(db.BeginBatch());
    for (std::uint64_t id = 1; id <= 1000; ++id)
        ASSERT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    EXPECT_EQ(SeenByOthers(), 0u);
    ASSERT_TRUE(db.CommitBatch());
    EXPECT_EQ(SeenByOthers(), 1000u);
}

TEST_F(IndexBatch, ClosingWithoutCommitUndoesIt)
{
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({1, 1, 1}, 0, nullptr, false));
    db.Close();
    EXPECT_EQ(SeenByOthers(), 0u);
}

TEST_F(IndexBatch, ItemsAndExportsAreRefusedMeanwhile)
{
    ASSERT_TRUE(db.BeginBatch());
    EXPECT_FALSE(db.RecordItem(Item(L"C:\\a")));
    EXPECT_FALSE(db.ForgetItem(L"C:\\a"));
    EXPECT_FALSE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    EXPECT_FALSE(Exists(L"out.tdb"));
    ASSERT_TRUE(db.CommitBatch());
    EXPECT_TRUE(db.RecordItem(Item(L"C:\\a")));
}

TEST_F(IndexBatch, CommittingWithoutOneFails) { EXPECT_FALSE(db.CommitBatch()); }

TEST_F(IndexBatch, BeginningASecondOneLeavesTheFirstAsItIs)
{
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({1, 1, 1}, 0, nullptr, false));
    EXPECT_FALSE(db.BeginBatch());
    ASSERT_TRUE(db.CommitBatch());
    EXPECT_EQ(SeenByOthers(), 1u);
}

TEST_F(IndexBatch, RecordsAreReadBackBeforeItIsCommitted)
{
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({2, 1, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.InsertEx({1, 1, 1}, 0, nullptr, false));
    EXPECT_EQ(db.GetDeletes(1).size(), 2u);
    ASSERT_TRUE(db.CommitBatch());
    EXPECT_EQ(SeenByOthers(), 2u);
}

TEST_F(IndexBatch, OfTheRecordsOfOneItemTheFirstCountsUnlessALaterOneReplacesIt)
{
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({1, 10, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.InsertEx({2, 10, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.InsertEx({1, 20, 1}, 0, nullptr, true));
    ASSERT_TRUE(db.InsertEx({2, 20, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.CommitBatch());
    const std::vector<DeleteDatum> deletes = db.GetDeletes(1);
    ASSERT_EQ(deletes.size(), 2u);
    EXPECT_EQ(deletes[0].deletionTime, 20u);
    EXPECT_EQ(deletes[1].deletionTime, 10u);
}

// The database writes to its log first, a page at a time.
TEST_F(IndexBatch, RecordsOfManyItemsTouchFewPages)
{
    constexpr int count = 20'000;
    std::vector<ItemDatum> items;
    for (int i = 0; i < count; ++i)
        items.push_back(Item((L"C:\\a folder with a long name\\and another one in it\\" + std::to_wstring(i)).c_str()));
    ASSERT_TRUE(db.RecordItems(items));
    db.Close(); // empties the log
    ASSERT_TRUE(db.Open(1, 0, 0));
    ASSERT_TRUE(db.BeginBatch());
    for (const ItemDatum& item : items)
        ASSERT_TRUE(db.InsertEx({CIndexDB::CalculateUuid(item.path), 1, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.CommitBatch());
    const std::size_t log = temp.ReadBytes(L"Index.db-wal").size();
    EXPECT_GT(log, 0u);
    EXPECT_LT(log / count, 60u); // bytes a record; the items themselves have some 200
}

// So many that a part of them has been written before the end.
TEST_F(IndexBatch, OfWhichAPartCannotBeWrittenIsNotCommittedAtAll)
{
    ASSERT_TRUE(db.SetSizeLimit(64 * 1024));
    ASSERT_TRUE(db.BeginBatch());
    std::uint64_t id = 1;
    while (id <= 100'000 && db.InsertEx({id, 1, 1}, 0, nullptr, false))
        ++id;
    EXPECT_EQ(id, 100'000u);
    EXPECT_FALSE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.SetSizeLimit(64 * 1024 * 1024));
    EXPECT_FALSE(db.CommitBatch());
    EXPECT_EQ(SeenByOthers(), 0u);
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({1, 1, 1}, 0, nullptr, false));
    EXPECT_TRUE(db.CommitBatch());
    EXPECT_EQ(SeenByOthers(), 1u);
}

TEST_F(IndexBatch, ManyRecordsAreWrittenByStatementsPreparedOnce)
{
    EXPECT_TRUE(db.LoadCache());
    const auto preparedFor = [&](std::uint64_t first, std::uint64_t count) {
        const std::uint64_t before = CIndexDB::StatementsPrepared();
        EXPECT_TRUE(db.BeginBatch());
        for (std::uint64_t id = first; id < first + count; ++id)
            EXPECT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
        EXPECT_TRUE(db.CommitBatch());
        return CIndexDB::StatementsPrepared() - before;
    };
    preparedFor(1, 1); // what is kept for later
    EXPECT_EQ(preparedFor(1000, 1000), preparedFor(2, 1));
}

class DeletedItems : public IndexBatch
{
protected:
    DeletedItems()
    {
        EXPECT_TRUE(db.LoadCache());
        EXPECT_TRUE(db.RecordItem(Item(path)));
    }
    ~DeletedItems() override { CIndexDB::ClearCache(); }

    bool IsMarked()
    {
        CachedDatum datum;
        return CIndexDB::GetCachedData(id, datum) && (datum.flags & CachedDatum::NoDeleteRecord);
    }
    bool IsMarkedInTheDatabase()
    {
        EXPECT_TRUE(db.LoadCache());
        return IsMarked();
    }

    const CString path = L"C:\\a";
    const std::uint64_t id = CIndexDB::CalculateUuid(path);
};

TEST_F(DeletedItems, AreMarkedUntilTheyAreRecordedAgain)
{
    ASSERT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    EXPECT_TRUE(IsMarked());
    EXPECT_TRUE(IsMarkedInTheDatabase());
    ASSERT_TRUE(db.RecordItem(Item(path)));
    EXPECT_FALSE(IsMarked());
    EXPECT_FALSE(IsMarkedInTheDatabase());
}

TEST_F(DeletedItems, ThatWereForgottenLeaveNoMark)
{
    ASSERT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.ForgetItem(path));
    EXPECT_EQ(RawDatabase(temp.Path(fileName)).Run("SELECT count(*) FROM gone"), "0");
}

TEST_F(DeletedItems, OfABatchAreMarkedWhenItIsCommitted)
{
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    EXPECT_FALSE(IsMarked());
    ASSERT_TRUE(db.CommitBatch());
    EXPECT_TRUE(IsMarked());
}

TEST_F(DeletedItems, OfABatchThatIsGivenUpAreNotMarked)
{
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.Open(1, 0, 0));
    EXPECT_FALSE(IsMarked());
    EXPECT_FALSE(IsMarkedInTheDatabase());
}

TEST_F(DeletedItems, AreNotAskedForWhenNobodyElseHasWritten)
{
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    const std::uint64_t one = CIndexDB::DatabaseLookups();
    ASSERT_TRUE(db.CommitBatch());
    const std::uint64_t forOne = CIndexDB::DatabaseLookups() - one;
    EXPECT_TRUE(IsMarked());

    std::vector<ItemDatum> items;
    for (int i = 0; i < 100; ++i)
        items.push_back(Item((L"C:\\many\\" + std::to_wstring(i)).c_str()));
    ASSERT_TRUE(db.RecordItems(items));
    ASSERT_TRUE(db.BeginBatch());
    for (const ItemDatum& item : items)
        ASSERT_TRUE(db.InsertEx({CIndexDB::CalculateUuid(item.path), 1, 1}, 0, nullptr, false));
    const std::uint64_t many = CIndexDB::DatabaseLookups();
    ASSERT_TRUE(db.CommitBatch());
    EXPECT_EQ(CIndexDB::DatabaseLookups() - many, forOne);
}

// The loading keeps the turn to follow until it gets the cache's section.
TEST_F(DeletedItems, ThatAnotherProcessHasRecordedMeanwhileAreNotMarked)
{
    RawDatabase outside(temp.Path(fileName));
    CIndexDB other;
    other.SetDBFilePath(temp.Path(fileName));
    ASSERT_TRUE(other.Open(0, 0, 0));
    ASSERT_TRUE(db.BeginBatch());
    ASSERT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));

    CSingleLock section(CIndexDB::m_csCache);
    const std::uint64_t before = CIndexDB::DatabaseLookups();
    std::thread loader([&] { EXPECT_TRUE(other.LoadCache()); });
    while (CIndexDB::DatabaseLookups() == before)
        std::this_thread::yield();
    std::thread committer([&] { EXPECT_TRUE(db.CommitBatch()); });
    while (outside.Run("SELECT count(*) FROM deletes") != "1")
        std::this_thread::yield();
    EXPECT_EQ(outside.Run("DELETE FROM gone"), "");
    section.Unlock();
    loader.join();
    committer.join();
    EXPECT_FALSE(IsMarked());
}

} // namespace

#include "tests/companions/IndexTest.h"

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

} // namespace

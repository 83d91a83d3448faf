// Files that are handed out with --record get into the index in few commits.
#include "companions/indexdb/OrbIndexDB.h"
#include "host/RecordBatch.h"
#include "tests/host/HostTest.h"

namespace
{

std::uint32_t BigEndian(const std::string& bytes, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

// In the write-ahead log, the last frame of a commit says how many pages the database has.
unsigned Commits(const std::string& log)
{
    constexpr std::size_t header = 32, frameHeader = 24;
    if (log.size() < header)
        return 0;
    const std::size_t frame = frameHeader + BigEndian(log, 8);
    unsigned commits = 0;
    for (std::size_t at = header; at + frame <= log.size(); at += frame)
        commits += BigEndian(log, at + 4) != 0 ? 1 : 0;
    return commits;
}

class Recorded : public HostTest
{
protected:
    // A connection of the test's own keeps the database's log.
    void OpenIndex()
    {
        m_index.SetDBFilePath(index.c_str());
        ASSERT_TRUE(m_index.Open(1, 0, 0));
        ASSERT_TRUE(m_index.LoadCache());
    }
    CIndexDB m_index;
};

TEST_F(Recorded, ManyFilesTakeFewCommits)
{
    OpenIndex();
    constexpr int files = 300;
    for (int i = 0; i < files; ++i)
        Write(L"f" + std::to_wstring(i), "x");
    const unsigned before = Commits(folder.ReadBytes(L"index.db-wal"));
    HostProcess host({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--record"});
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(OfType(host.Records(), "pending").size(), files + 1u);
    EXPECT_LT(Commits(folder.ReadBytes(L"index.db-wal")) - before, 60u);
    ASSERT_TRUE(m_index.LoadCache());
    CachedDatum datum;
    for (int i = 0; i < files; ++i)
        EXPECT_TRUE(CIndexDB::GetCachedData(InTree(L"f" + std::to_wstring(i)).c_str(), datum)) << i;
}

TEST_F(Recorded, ABatchIsDueWhenItIsFullOrOld)
{
    RecordBatch batch;
    EXPECT_FALSE(batch.IsDue(1000));
    batch.Add({L"C:\\a", 0, 1, 0, 0}, 10);
    EXPECT_FALSE(batch.IsDue(10));
    EXPECT_TRUE(batch.IsDue(10 + RecordBatch::LongestDelay));
    for (std::size_t i = 1; i < RecordBatch::MostItems; ++i)
        batch.Add({(L"C:\\" + std::to_wstring(i)).c_str(), 0, 1, 0, 0}, 10);
    EXPECT_TRUE(batch.IsDue(10));
}

TEST_F(Recorded, ABatchHoldsAFileOnceWithItsLastTime)
{
    OpenIndex();
    RecordBatch batch;
    batch.Add({L"C:\\a", 0, 1, 0, 0}, 10);
    batch.Add({L"c:\\A", 0, 2, 0, 0}, 10);
    EXPECT_FALSE(batch.Holds(L"C:\\a", 1));
    EXPECT_TRUE(batch.Holds(L"C:\\A", 2));
    const RecordBatch::Committed committed = batch.Commit(m_index);
    EXPECT_TRUE(committed.failures.empty());
    EXPECT_EQ(committed.recorded.size(), 1u);
    EXPECT_TRUE(batch.IsEmpty());
    CachedDatum datum;
    ASSERT_TRUE(CIndexDB::GetCachedData(L"C:\\a", datum));
    EXPECT_EQ(datum.modificationTime, 2u);
}

TEST_F(Recorded, AFileThatCannotBeRecordedIsToldAndLeavesNoOtherOut)
{
    RecordBatch batch;
    batch.Add({L"C:\\a", 0, 1, 0, 0}, 10);
    batch.Add({L"C:\\b", 0, 1, 0, 0}, 10);
    CIndexDB closed;
    const RecordBatch::Committed committed = batch.Commit(closed);
    EXPECT_TRUE(committed.recorded.empty());
    EXPECT_EQ(committed.failures.size(), 2u);
}

TEST_F(Recorded, AFileThatIsUnchangedComesOnceThoughItIsReportedTwice)
{
    const auto watch = StartWatch({L"--record"});
    for (int i = 0; i < 20; ++i)
        Write(L"f" + std::to_wstring(i), "x");
    EXPECT_FALSE(watch->WaitForPath(InTree(L"f19")).empty());
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    HostProcess again({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--record"});
    EXPECT_EQ(again.Finish(), 0);
    for (const Json& record : OfType(again.Records(), "pending"))
        EXPECT_EQ(record.value("kind", ""), "directory") << record;
}

} // namespace

#include "tests/companions/IndexTest.h"

namespace
{

class IndexRecords : public IndexTest
{
protected:
    IndexRecords() { Create(); }

    void Reopen()
    {
        db.Close();
        Create();
    }
};

SettingsDatum Job(std::int32_t id)
{
    SettingsDatum job;
    job.jobId = id;
    job.startTime = 5000000000;
    job.flags = 0x80000001;
    return job;
}

TEST_F(IndexRecords, WithoutAJobTheLastJobIsAZeroRecord)
{
    SettingsDatum job = Job(3);
    ASSERT_TRUE(db.GetLastJobData(job));
    EXPECT_EQ(job.jobId, 0);
    EXPECT_EQ(job.startTime, 0);
    EXPECT_EQ(job.flags, 0u);
}

TEST_F(IndexRecords, TheLastJobIsTheOneOfTheHighestNumber)
{
    ASSERT_TRUE(db.Insert(Job(2)) && db.Insert(Job(10)) && db.Insert(Job(1)));
    Reopen();
    SettingsDatum job;
    ASSERT_TRUE(db.GetLastJobData(job));
    EXPECT_EQ(job.jobId, 10);
    EXPECT_EQ(job.startTime, 5000000000);
    EXPECT_EQ(job.endTime, 0);
    EXPECT_EQ(job.flags, 0x80000001u);
}

TEST_F(IndexRecords, AJobIsUpdatedAndOnlyOnceInserted)
{
    SettingsDatum job = Job(2);
    ASSERT_TRUE(db.Insert(job));
    EXPECT_FALSE(db.Insert(job));
    job.endTime = 6000000000;
    job.itemCount = 17;
    job.flags |= SettingsDatum::Completed;
    ASSERT_TRUE(db.Update(job));
    SettingsDatum read;
    ASSERT_TRUE(db.GetLastJobData(read));
    EXPECT_EQ(read.endTime, 6000000000);
    EXPECT_EQ(read.itemCount, 17);
    EXPECT_EQ(read.flags, 0x80000021u);
    EXPECT_FALSE(db.Update(Job(99)));
    EXPECT_EQ(db.GetLastDbError(), Error::NotFound);
}

TEST_F(IndexRecords, PluginsKeepTheirOrderAndTheirTexts)
{
    ProfileDatum first{7, L"\x4f8b 'x'", L"virtual", L"C:\\root", L"shown"};
    ProfileDatum second{3, L"", L"", L"", L""};
    ASSERT_TRUE(db.DropPluginTable() && db.CreatePluginTable());
    ASSERT_TRUE(db.Insert(first) && db.Insert(second) && db.Insert(first));
    Reopen();
    const std::vector<ProfileDatum> plugins = db.GetPlugins();
    ASSERT_EQ(plugins.size(), 3u);
    EXPECT_EQ(plugins[0].id, 7);
    EXPECT_EQ(plugins[0].name, L"\x4f8b 'x'");
    EXPECT_EQ(plugins[0].virtualPath, L"virtual");
    EXPECT_EQ(plugins[0].rootPath, L"C:\\root");
    EXPECT_EQ(plugins[0].guiName, L"shown");
    EXPECT_EQ(plugins[1].id, 3);
    EXPECT_EQ(plugins[2].id, 7);
}

TEST_F(IndexRecords, DroppingThePluginTableLeavesNoPlugins)
{
    ASSERT_TRUE(db.Insert(ProfileDatum{1, L"a", L"", L"", L""}));
    ASSERT_TRUE(db.DropPluginTable());
    EXPECT_TRUE(db.GetPlugins().empty());
    EXPECT_EQ(db.GetLastDbError(), Error::None);
    EXPECT_FALSE(db.Insert(ProfileDatum{1, L"a", L"", L"", L""}));
    ASSERT_TRUE(db.CreatePluginTable());
    EXPECT_TRUE(db.GetPlugins().empty());
}

TEST_F(IndexRecords, APluginTextBeyondItsFieldIsRefused)
{
    EXPECT_TRUE(db.Insert(ProfileDatum{1, CString(L'x', 259), L"", L"", L""}));
    EXPECT_FALSE(db.Insert(ProfileDatum{2, L"", L"", L"", CString(L'x', 260)}));
    EXPECT_EQ(db.GetPlugins().size(), 1u);
}

TEST_F(IndexRecords, ADeleteRecordOfAnItemAndAJobCountsOnce)
{
    const std::uint64_t large = 0xFEDCBA9876543210;
    ASSERT_TRUE(db.InsertEx({large, 100, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.InsertEx({large, 200, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.InsertEx({large, 300, 2}, 0, nullptr, false));
    Reopen();
    const std::vector<DeleteDatum> deletes = db.GetDeletes(1);
    ASSERT_EQ(deletes.size(), 1u);
    EXPECT_EQ(deletes[0].id, large);
    EXPECT_EQ(deletes[0].deletionTime, 100u);
    EXPECT_EQ(deletes[0].jobId, 1);
    EXPECT_EQ(db.GetDeletes(2).size(), 1u);
    EXPECT_TRUE(db.GetDeletes(3).empty());
}

TEST_F(IndexRecords, ADeleteRecordIsReplacedWhenAskedTo)
{
    ASSERT_TRUE(db.InsertEx({5, 100, 1}, 0, nullptr, false));
    ASSERT_TRUE(db.InsertEx({5, 200, 1}, 0, nullptr, true));
    ASSERT_EQ(db.GetDeletes(1).size(), 1u);
    EXPECT_EQ(db.GetDeletes(1)[0].deletionTime, 200u);
}

} // namespace

#include "support/Handle.h"
#include "tests/companions/IndexTest.h"
#include "tests/support/TestMachine.h"

namespace
{

class TransactionExport : public IndexTest
{
protected:
    TransactionExport()
    {
        Create();
        EXPECT_TRUE(db.RecordItem(Item(L"C:\\secret")));
        for (const std::int32_t id : {1, 2}) {
            SettingsDatum job;
            job.jobId = id;
            job.itemCount = 10 * id;
            EXPECT_TRUE(db.Insert(job));
            EXPECT_TRUE(db.InsertEx({0xF000000000000000 + static_cast<std::uint64_t>(id), 77, id}, 0, nullptr, false));
        }
    }
    int FilesBeside(const wchar_t* pattern) const
    {
        WIN32_FIND_DATAW found;
        const HANDLE search = FindFirstFileW(temp.Path(pattern), &found);
        if (search == INVALID_HANDLE_VALUE)
            return 0;
        int count = 1;
        while (FindNextFileW(search, &found))
            ++count;
        FindClose(search);
        return count;
    }
};

TEST_F(TransactionExport, HoldsTheLastJobAndItsDeletesAndNothingElse)
{
    ASSERT_TRUE(db.ExportToTransaction(temp.Path(L"out\x4f8b.tdb"), 1));
    db.Close();
    ASSERT_TRUE(CopyFileW(temp.Path(L"out\x4f8b.tdb"), temp.Path(L"alone.tdb"), TRUE));
    ASSERT_TRUE(DeleteFileW(temp.Path(fileName)));
    RawDatabase raw(temp.Path(L"alone.tdb"));
    EXPECT_EQ(raw.Run("SELECT group_concat(id || ':' || items) FROM jobs"), "2:20");
    EXPECT_EQ(raw.Run("SELECT group_concat(job || ':' || printf('%x', item) || ':' || deleted) FROM deletes"),
              "2:f000000000000002:77");
    EXPECT_EQ(raw.Run("SELECT count(*) FROM items NOT INDEXED"), "0");
    EXPECT_EQ(raw.Run("PRAGMA journal_mode"), "delete");
}

TEST_F(TransactionExport, CanBeOpenedLikeAnIndex)
{
    ASSERT_TRUE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    CIndexDB exported;
    exported.SetDBFilePath(temp.Path(L"out.tdb"));
    ASSERT_TRUE(exported.Open(0, 0, 0));
    SettingsDatum job;
    ASSERT_TRUE(exported.GetLastJobData(job));
    EXPECT_EQ(job.jobId, 2);
    EXPECT_EQ(exported.GetDeletes(2).size(), 1u);
}

TEST_F(TransactionExport, LeavesNoOtherFileBeside)
{
    ASSERT_TRUE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    EXPECT_EQ(FilesBeside(L"out*"), 1);
    EXPECT_TRUE(OnlyItsOwnerReads(temp.Path(L"out.tdb").GetString()));
}

TEST_F(TransactionExport, WorksFromAReadingConnection)
{
    db.Close();
    ASSERT_TRUE(db.Open(0, 0, 0));
    EXPECT_TRUE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
}

TEST_F(TransactionExport, AnExistingFileIsLeftAlone)
{
    temp.WriteBytes(L"out.tdb", "theirs");
    EXPECT_FALSE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    EXPECT_EQ(db.GetLastDbError(), Error::Failed);
    EXPECT_EQ(temp.ReadBytes(L"out.tdb"), "theirs");
    EXPECT_EQ(FilesBeside(L"out*"), 1);
}

TEST_F(TransactionExport, AReservedNameIsUsed)
{
    temp.WriteBytes(L"out.tdb", "");
    ASSERT_TRUE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    EXPECT_EQ(RawDatabase(temp.Path(L"out.tdb")).Run("SELECT id FROM jobs"), "2");
    EXPECT_EQ(FilesBeside(L"out*"), 1);
    EXPECT_TRUE(OnlyItsOwnerReads(temp.Path(L"out.tdb").GetString()));
}

TEST_F(TransactionExport, AReservedNameThatAnotherProcessHoldsIsAFailureAndLeavesNoOtherFile)
{
    temp.WriteBytes(L"out.tdb", "");
    const FileHandle others(CreateFileW(temp.Path(L"out.tdb"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_FALSE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    EXPECT_EQ(db.GetLastDbError(), Error::Failed);
    EXPECT_EQ(FilesBeside(L"out*"), 1);
}

TEST_F(TransactionExport, WithoutAJobThereIsNothingToExport)
{
    CIndexDB empty;
    empty.SetDBFilePath(temp.Path(L"empty.db"));
    ASSERT_TRUE(empty.Open(1, 0, 0));
    EXPECT_FALSE(empty.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    EXPECT_EQ(empty.GetLastDbError(), Error::NotFound);
    EXPECT_EQ(FilesBeside(L"out*"), 0);
}

TEST_F(TransactionExport, AnUnknownKindOrAMissingFolderLeavesNoFile)
{
    EXPECT_FALSE(db.ExportToTransaction(temp.Path(L"out.tdb"), 2));
    EXPECT_FALSE(db.ExportToTransaction(temp.Path(L"nowhere\\out.tdb"), 1));
    EXPECT_EQ(FilesBeside(L"out*"), 0);
    EXPECT_FALSE(Exists(L"nowhere"));
}

} // namespace

// The access to the files of the index, and links that these files must not be made through.
#include "tests/companions/IndexTest.h"
#include "tests/support/ImportedCall.h"
#include "tests/support/TestMachine.h"

#include <filesystem>
#include <set>
#include <string_view>

namespace
{

class IndexFiles : public IndexTest
{
protected:
    bool OnlyOwnerReads(const wchar_t* name) const
    {
        EXPECT_TRUE(Exists(name)) << Narrow(name);
        return OnlyItsOwnerReads(temp.Path(name).GetString());
    }
};

TEST_F(IndexFiles, AreForTheirOwnerAloneWhileTheIndexIsWritten)
{
    Create();
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\secret")));
    for (const wchar_t* name : {L"Index.db", L"Index.db-wal", L"Index.db-shm"})
        EXPECT_TRUE(OnlyOwnerReads(name)) << Narrow(name);
}

TEST_F(IndexFiles, AreForTheirOwnerAloneWhileTheIndexIsRead)
{
    Create();
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\secret")));
    db.Close();
    EXPECT_FALSE(Exists(L"Index.db-wal"));
    ASSERT_TRUE(db.Open(0, 0, 0) && db.LoadCache());
    for (const wchar_t* name : {L"Index.db", L"Index.db-wal", L"Index.db-shm"})
        EXPECT_TRUE(OnlyOwnerReads(name)) << Narrow(name);
}

TEST_F(IndexFiles, StayForTheirOwnerAloneWhereThereIsNoWriteAheadLog)
{
    Create();
    SettingsDatum job;
    job.jobId = 1;
    ASSERT_TRUE(db.Insert(job));
    ASSERT_TRUE(db.ExportToTransaction(temp.Path(L"out.tdb"), 1));
    db.Close();
    EXPECT_TRUE(OnlyOwnerReads(L"out.tdb"));
    EXPECT_TRUE(OnlyOwnerReads(L"Index.db"));
}

// The system marks links by their attributes; here it reports a plain file as a link.
std::set<std::wstring> g_links;
DWORD WINAPI AttributesOf(LPCWSTR path)
{
    const DWORD attributes = GetFileAttributesW(path);
    const bool link = g_links.contains(std::filesystem::path(path).filename().wstring());
    return link && attributes != INVALID_FILE_ATTRIBUTES ? attributes | FILE_ATTRIBUTE_REPARSE_POINT : attributes;
}

class IndexLinks : public IndexFiles
{
protected:
    ~IndexLinks() override { g_links.clear(); }
    void Plant(const wchar_t* name)
    {
        temp.WriteBytes(name, "");
        g_links.insert(name);
    }
    const ImportedCall m_attributes{L"OrbIndexDB.dll", "GetFileAttributesW", AttributesOf};
};

TEST_F(IndexLinks, ThatLeadToNothingAreNotMadeAnIndex)
{
    Plant(L"Index.db");
    EXPECT_FALSE(db.Open(1, 0, 0));
    EXPECT_EQ(temp.ReadBytes(L"Index.db"), "");
}

TEST_F(IndexLinks, InThePlaceOfTheLogOrItsMemoryAreNotWrittenThrough)
{
    for (const wchar_t* name : {L"Index.db-wal", L"Index.db-shm"}) {
        Create();
        db.Close();
        Plant(name);
        EXPECT_FALSE(db.Open(1, 0, 0) && db.RecordItem(Item(L"C:\\a"))) << Narrow(name);
        db.Close();
        EXPECT_EQ(temp.ReadBytes(name), "") << Narrow(name);
        g_links.clear();
        DeleteFileW(temp.Path(name));
    }
}

TEST_F(IndexLinks, ToAnIndexAreOpened)
{
    Create();
    db.Close();
    g_links.insert(L"Index.db");
    EXPECT_TRUE(db.Open(1, 0, 0));
}

} // namespace

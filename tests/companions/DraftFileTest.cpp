// What processes that were killed leave beside the files they wrote.
#include "support/DraftFile.h"

#include "companions/settings/OrbSettings.h"
#include "support/Handle.h"
#include "tests/companions/IndexTest.h"
#include "tests/support/TestMachine.h"

#include <chrono>
#include <filesystem>

namespace
{

class DraftFiles : public IndexTest
{
protected:
    // A file that was last written that long ago.
    void Leave(const wchar_t* name, std::chrono::hours age = std::chrono::hours(25)) const
    {
        temp.WriteBytes(name, "half a fi");
        const std::filesystem::path path(temp.Path(name).GetString());
        std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - age);
    }
};

TEST_F(DraftFiles, EachNameIsANewOneBesideItsTarget)
{
    const CString first = DraftPath(L"C:\\x\\Index.tdb");
    EXPECT_NE(first, DraftPath(L"C:\\x\\Index.tdb"));
    EXPECT_EQ(first.Left(15), L"C:\\x\\Index.tdb.");
}

TEST_F(DraftFiles, OnlyOldOnesAreRemoved)
{
    Leave(L"Index.tdb.12-345.tmp");
    Leave(L"Index.tdb.12-345.tmp-journal");
    Leave(L"Transaction7.tdb.1-1.tmp");
    Leave(L"Index.tdb.12-346.tmp", std::chrono::hours(23));
    RemoveOldDrafts(temp.Path(L"Index.tdb"));
    EXPECT_FALSE(Exists(L"Index.tdb.12-345.tmp"));
    EXPECT_FALSE(Exists(L"Index.tdb.12-345.tmp-journal"));
    EXPECT_FALSE(Exists(L"Transaction7.tdb.1-1.tmp"));
    EXPECT_TRUE(Exists(L"Index.tdb.12-346.tmp"));
}

TEST_F(DraftFiles, FilesOfOtherNamesAreNobodysDrafts)
{
    const wchar_t* const names[] = {L"Index.tdb",           L"Index.tdb.tmp",         L"Index.tdb.12.tmp",
                                    L"Index.tdb.12-.tmp",   L"Index.tdb.-1.tmp",      L"Index.tdb.1-2.tmp.x",
                                    L"Index.tdb.a1-2.tmp",  L".tdb.1-2.tmp",          L"letter.12-3.tmp",
                                    L"Index.json.1-2.tmp",  L"Index.tdb.1-2.tmp-wal", L"Index.tdb1-2.tmp",
                                    L"below\\a.tdb.1-2.tmp"};
    for (const wchar_t* name : names)
        Leave(name);
    RemoveOldDrafts(temp.Path(L"Index.tdb"));
    for (const wchar_t* name : names)
        EXPECT_TRUE(Exists(name)) << Narrow(name);
}

TEST_F(DraftFiles, OneThatSomebodyHasOpenStays)
{
    Leave(L"Index.tdb.12-345.tmp");
    const FileHandle open(CreateFileW(temp.Path(L"Index.tdb.12-345.tmp"), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                      nullptr));
    RemoveOldDrafts(temp.Path(L"Index.tdb"));
    EXPECT_TRUE(Exists(L"Index.tdb.12-345.tmp"));
}

TEST_F(DraftFiles, SavingSettingsAndExportingTakeThemAway)
{
    Leave(L"data\\ServiceRunSettings.json.12-3.tmp");
    Leave(L"Index.tdb.12-3.tmp");
    GetMainSettings().SetValue(L"Main::Online", 1);
    ASSERT_TRUE(GetMainSettings().Save());
    EXPECT_FALSE(Exists(L"data\\ServiceRunSettings.json.12-3.tmp"));

    Create();
    SettingsDatum job;
    job.jobId = 1;
    ASSERT_TRUE(db.Insert(job));
    ASSERT_TRUE(db.ExportToTransaction(temp.Path(L"Index.tdb"), 1));
    EXPECT_FALSE(Exists(L"Index.tdb.12-3.tmp"));
}

// Process numbers come again.
TEST_F(DraftFiles, ALeftoverOfTheSameNameIsInNobodysWay)
{
    for (unsigned count = 1; count <= 300; ++count) {
        CString name;
        name.Format(L"data\\MainSettings.json.%u-%u.tmp", GetCurrentProcessId(), count);
        temp.WriteBytes(name, "half a fi");
    }
    GetMainSettings().SetValue(L"Main::Online", 1);
    EXPECT_TRUE(GetMainSettings().Save());
}

} // namespace

// The files that killed processes leave beside those that they wrote.
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
    EXPECT_EQ(first.Left(7), L"C:\\x\\~o");
    EXPECT_LE(first.GetLength(), 5 + 24);
}

TEST_F(DraftFiles, OnlyOldOnesAreRemoved)
{
    Leave(L"~o1a2-3f.tmp");
    Leave(L"~o1a2-3f.tmp-journal");
    Leave(L"~o1-1.tmp");
    Leave(L"~o1a2-40.tmp", std::chrono::hours(23));
    RemoveOldDrafts(temp.Path(L"Index.tdb"));
    EXPECT_FALSE(Exists(L"~o1a2-3f.tmp"));
    EXPECT_FALSE(Exists(L"~o1a2-3f.tmp-journal"));
    EXPECT_FALSE(Exists(L"~o1-1.tmp"));
    EXPECT_TRUE(Exists(L"~o1a2-40.tmp"));
}

TEST_F(DraftFiles, FilesOfOtherNamesAreNobodysDrafts)
{
    const wchar_t* const names[] = {L"~o.tmp",      L"~o12.tmp",    L"~o12-.tmp",     L"~o-1.tmp",
                                    L"~o1-2.tmp.x", L"~og1-2.tmp",  L"~o1-2.tmp-wal", L"o1-2.tmp",
                                    L"a~o1-2.tmp",  L"~o1-2-3.tmp", L"~o1-2.doc",     L"below\\~o1-2.tmp"};
    for (const wchar_t* name : names)
        Leave(name);
    RemoveOldDrafts(temp.Path(L"Index.tdb"));
    for (const wchar_t* name : names)
        EXPECT_TRUE(Exists(name)) << Narrow(name);
}

TEST_F(DraftFiles, OneThatSomebodyHasOpenStays)
{
    Leave(L"~o1a2-3f.tmp");
    const FileHandle open(CreateFileW(temp.Path(L"~o1a2-3f.tmp"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    RemoveOldDrafts(temp.Path(L"Index.tdb"));
    EXPECT_TRUE(Exists(L"~o1a2-3f.tmp"));
}

TEST_F(DraftFiles, SavingSettingsAndExportingTakeThemAway)
{
    Leave(L"data\\~o12-3.tmp");
    Leave(L"~o12-3.tmp");
    GetMainSettings().SetValue(L"Main::Online", 1);
    ASSERT_TRUE(GetMainSettings().Save());
    EXPECT_FALSE(Exists(L"data\\~o12-3.tmp"));

    Create();
    SettingsDatum job;
    job.jobId = 1;
    ASSERT_TRUE(db.Insert(job));
    ASSERT_TRUE(db.ExportToTransaction(temp.Path(L"Index.tdb"), 1));
    EXPECT_FALSE(Exists(L"~o12-3.tmp"));
}

// Process numbers come again.
TEST_F(DraftFiles, ALeftoverOfTheSameNameIsInNobodysWay)
{
    for (unsigned count = 1; count <= 300; ++count) {
        CString name;
        name.Format(L"data\\~o%x-%x.tmp", GetCurrentProcessId(), count);
        temp.WriteBytes(name, "half a fi");
    }
    GetMainSettings().SetValue(L"Main::Online", 1);
    EXPECT_TRUE(GetMainSettings().Save());
}

} // namespace

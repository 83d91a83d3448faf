// The access of other users of the machine to what the product keeps in its data folder.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/due/RunningMark.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class AccessLists : public WatcherFixture
{
protected:
    std::wstring InData(const wchar_t* name) const { return (folder.Path(L"data\\") + name).GetString(); }
    static void SaveTwice(CSettings& settings)
    {
        for (int value : {1, 2}) {
            settings.SetValue(L"Test::value", value);
            ASSERT_TRUE(settings.Save());
        }
    }
};

TEST_F(AccessLists, SettingsThatNoProgramOfAUserNeedsAreTheirOwnersAlone)
{
    SaveTwice(GetServiceRunSettings());
    SaveTwice(GetUserConfigurations());
    EXPECT_TRUE(OnlyItsOwnerReads(InData(L"ServiceRunSettings.json")));
    EXPECT_TRUE(OnlyItsOwnerReads(InData(L"UserConfigurations.json")));
}

TEST_F(AccessLists, TheNamesOfSharedObjectsCanBeReadByAll)
{
    SaveTwice(GetMainSettings());
    EXPECT_FALSE(OnlyItsOwnerReads(InData(L"MainSettings.json")));
}

TEST_F(AccessLists, TheRunningMarkIsItsOwnersAlone)
{
    RunningMark mark;
    mark.Set();
    const std::vector<CString> none = RunningMark::FindLeft();
    EXPECT_TRUE(none.empty()) << "it is held";
    mark.Leave();
    const std::vector<CString> left = RunningMark::FindLeft();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_TRUE(OnlyItsOwnerReads(left[0].GetString()));
}

TEST_F(AccessLists, TheLogAndTheDumpAreTheirOwnersAlone)
{
    Select(TreeItem());
    watcher.AddSingleNotification(Write(L"a.txt"));
    g_OrbLog.WriteLog(2, L"", 0, L"a line");
    watcher.DeInit();
    EXPECT_TRUE(OnlyItsOwnerReads(DumpFilePath().GetString()));
    EXPECT_TRUE(OnlyItsOwnerReads(InData(L"OrbWatcher.log")));
}

} // namespace

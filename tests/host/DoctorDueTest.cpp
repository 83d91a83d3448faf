// The doctor says that an enumeration is due, and why. Only one that makes up for something lost is a warning.
#include "tests/host/DoctorFixture.h"

namespace
{

class DoctorOfDue : public Doctor
{
protected:
    // A watch that ends in an orderly way.
    void WatchOnce(const Arguments& more = {}) const
    {
        HostProcess host(Watch(Joined({L"--until-quiet", L"0.2"}, more)));
        EXPECT_EQ(host.Finish(), 0);
    }
    static bool IsDue(const std::vector<Json>& records)
    {
        return std::any_of(records.begin(), records.end(),
                           [](const Json& record) { return record.value("name", "") == "due"; });
    }
    void SetRunSettings(const Json& backup) const
    {
        folder.WriteBytes(L"data\\ServiceRunSettings.json", Json{{"Backup", backup}}.dump());
    }
};

TEST_F(DoctorOfDue, NothingIsDueAfterAWatch)
{
    WatchOnce();
    EXPECT_FALSE(IsDue(ExaminedWhole(End::Well)));
}

TEST_F(DoctorOfDue, TheFirstEnumerationOfADataFolderIsDue)
{
    ForgetUse();
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "due", "none was made with this data folder"), "ok");
}

TEST_F(DoctorOfDue, AnEnumerationIsDueWhenItsTimeHasCome)
{
    SetRunSettings({{"FirstTimeRunTime", std::time(nullptr) - 25 * 3600}});
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "due", "the last one was complete 25 hours ago"), "ok");
    folder.WriteBytes(L"data\\UserConfigurations.json", R"({"AppConfig": {"NetworkScanIntervalInHours": 48}})");
    EXPECT_FALSE(IsDue(ExaminedWhole(End::Well)));
}

TEST_F(DoctorOfDue, AnEditedSelectionMakesOneDue)
{
    WatchOnce();
    WriteSelection(TreeItem() + Item(L"path=\"" + InTree(L"out") + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\""));
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "due", "the selection is not as it was"), "ok");
}

TEST_F(DoctorOfDue, AnotherDestinationMakesOneDue)
{
    std::filesystem::create_directories(Path(L"Backup"));
    WatchOnce({L"--destination", Path(L"Backup")});
    const auto examined = [&](const Arguments& more) {
        return Examined(Joined({L"--data", Path(L"selection.xml"), L"--index", index}, more), End::Well);
    };
    EXPECT_FALSE(IsDue(examined({L"--destination", Path(L"Backup")})));
    EXPECT_EQ(StateOf(examined({}), "due", Utf8(Path(L"Backup")) + "\\ is no destination any more"), "ok");
}

TEST_F(DoctorOfDue, ARootThatIsToBeLookedAtAgainIsNamed)
{
    SetRunSettings({{"FirstTimeRunTime", std::time(nullptr)}, {"RescansDue", "q:\\|x:\\"}});
    WriteSelection(TreeItem() + Item(L"path=\"q:\\away\" type=\"1\" includeSub=\"1\""));
    const std::vector<Json> records = ExaminedWhole(End::Well);
    EXPECT_EQ(StateOf(records, "due", "q:\\"), "ok");
    for (const Json& record : records) // the selection does not have it
        EXPECT_NE(record.value("path", ""), "x:\\");
}

TEST_F(DoctorOfDue, AfterAKillAWarningStaysUntilAWatchHasLookedAtEverything)
{
    {
        const auto watch = StartWatch({});
        watch->Kill();
        watch->Finish();
    }
    HostProcess exported(
        {L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--to", Path(L"list.xml")});
    EXPECT_EQ(exported.Finish(), 3);
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "due", "killed or crashed"), "warning");
    WatchOnce();
    EXPECT_FALSE(IsDue(ExaminedWhole(End::Well)));
}

} // namespace

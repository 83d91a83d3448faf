// Data folders and settings files that a user made before the service came: the commands must refuse them.
#include "tests/host/HostTest.h"

namespace
{

class ForeignDataFolder : public HostTest
{
protected:
    // With these settings nothing would be backed up any more.
    void PlantSettings() { folder.WriteBytes(L"data\\UserConfigurations.json", R"({"Backup": {"path": "C:\\"}})"); }
    void ExpectRefused(const Arguments& arguments, const std::wstring& path, const std::string& why)
    {
        HostProcess host(arguments);
        EXPECT_EQ(host.Finish(), 1) << "a command that goes on with planted settings says that all is well";
        const Json error = OnlyError(host);
        EXPECT_EQ(error.value("path", ""), Utf8(path));
        EXPECT_NE(error.value("message", "").find(why), std::string::npos) << error.dump();
    }
    static std::string WorstState(const std::vector<Json>& records, const std::string& why)
    {
        for (const Json& record : records)
            if (record.dump().find(why) != std::string::npos)
                return record.value("state", "");
        return "not told";
    }
    std::vector<Json> Examined()
    {
        HostProcess host({L"doctor", L"--json"});
        EXPECT_EQ(host.Finish(), 1);
        return host.Records();
    }

    const std::wstring settings = data + L"\\UserConfigurations.json";
};

TEST_F(ForeignDataFolder, IsRefusedByAWatchAndToldByTheDoctor)
{
    PlantSettings();
    if (!GiveAway(data))
        GTEST_SKIP() << "needs an administrator, under Wine that of the system below: a folder cannot be given away";
    ExpectRefused(Watch({L"--max-events", L"1", L"--timeout", L"5"}), data, "belongs to another account");
    EXPECT_EQ(WorstState(Examined(), "belongs to another account"), "failed");
}

TEST_F(ForeignDataFolder, ItsSettingsAloneAreRefusedAndToldToo)
{
    PlantSettings();
    if (!GiveAway(settings))
        GTEST_SKIP() << "needs an administrator, under Wine that of the system below: a file cannot be given away";
    ExpectRefused(Watch({L"--max-events", L"1", L"--timeout", L"5"}), settings, "belongs to another account");
    EXPECT_EQ(WorstState(Examined(), "belongs to another account"), "failed");
}

TEST_F(ForeignDataFolder, SettingsWithASecondNameAreRefusedByEachCommandThatGoesByThem)
{
    PlantSettings();
    ASSERT_TRUE(CreateHardLinkW(Path(L"mine").c_str(), settings.c_str(), nullptr));
    ExpectRefused(Explain({InTree(L"a.txt")}), settings, "second name");
    ExpectRefused(Watch({L"--max-events", L"1", L"--timeout", L"5"}), settings, "second name");
    ExpectRefused({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, settings,
                  "second name");
    EXPECT_EQ(WorstState(Examined(), "second name"), "failed");
}

TEST_F(ForeignDataFolder, ToWhichOthersMayAddFilesIsToldByTheDoctor)
{
    const std::wstring open = Path(L"open");
    ASSERT_TRUE(MakeFolderForAll(open));
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", open.c_str());
    HostProcess host({L"doctor", L"--json"});
    host.Finish();
    EXPECT_EQ(WorstState(host.Records(), "other accounts may add files"), "warning");
}

TEST_F(ForeignDataFolder, OfThisAccountAloneIsNoWarning)
{
    HostProcess host({L"doctor", L"--json"});
    host.Finish();
    EXPECT_EQ(WorstState(host.Records(), "other accounts may add files"), "not told");
}

TEST_F(ForeignDataFolder, ThatIsALinkIsRefused)
{
    const std::wstring link = Path(L"link");
    ASSERT_TRUE(MakeLink(link, data));
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", link.c_str());
    ExpectRefused(Explain({InTree(L"a.txt")}), link, "it is a link");
    EXPECT_TRUE(RemoveLink(link));
}

} // namespace

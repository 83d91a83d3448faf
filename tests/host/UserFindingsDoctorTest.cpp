// The doctor says when what the data folder remembered was lost, and which values of its settings no run writes.
#include "tests/host/DoctorFixture.h"

namespace
{

class DoctorOfLostSettings : public Doctor
{
protected:
    // Lets a watch leave one pending file in the dump.
    void LeavePending() const
    {
        const auto watch = StartWatch({L"--collect"});
        Write(L"pending.txt", "p");
        EXPECT_FALSE(watch->WaitForType("collected").empty());
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
    }
    Json RunSettings() const { return Json::parse(folder.ReadBytes(L"data\\ServiceRunSettings.json")); }
    void WriteRunSettings(const std::string& bytes) const
    {
        folder.WriteBytes(L"data\\ServiceRunSettings.json", bytes);
    }
    void SetRunSetting(const char* name, const Json& value) const
    {
        Json settings = RunSettings();
        settings["Backup"][name] = value;
        WriteRunSettings(settings.dump());
    }
};

TEST_F(DoctorOfLostSettings, SettingsThatAreLostBesideADumpAreAWarning)
{
    LeavePending();
    std::filesystem::remove(data + L"\\ServiceRunSettings.json");
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "owner", "the settings of the last run are lost"), "warning");
    for (const char* left : {"{}", R"({"Backup": "x"})"}) {
        WriteRunSettings(left);
        EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "owner", "the settings of the last run are lost"), "warning")
            << left;
    }
}

TEST_F(DoctorOfLostSettings, ANewDataFolderIsNoWarning)
{
    ForgetUse();
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "owner", "belongs to no selection yet"), "ok");
}

TEST_F(DoctorOfLostSettings, ASectionOfAnotherKindIsNamed)
{
    WriteRunSettings(R"({"Backup": "x"})");
    folder.WriteBytes(L"data\\UserConfigurations.json", R"({"AppConfig": [24]})");
    const std::vector<Json> records = Examined({}, End::Well);
    EXPECT_EQ(StateOf(records, "settings", "Backup \"x\" is no section"), "warning");
    EXPECT_EQ(StateOf(records, "settings", "AppConfig [24] is no section"), "warning");
}

TEST_F(DoctorOfLostSettings, TheLostNoteOfTheDumpIsAWarningWithAndWithoutTheDump)
{
    LeavePending();
    Json settings = RunSettings();
    settings["Backup"].erase("Dump");
    WriteRunSettings(settings.dump());
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "dump", "its note in the settings is lost"), "warning");
    std::filesystem::remove(data + L"\\watcher_dump.bin");
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "dump", "its note in the settings is lost"), "warning");
}

TEST_F(DoctorOfLostSettings, ValuesThatNoRunWritesAreNamed)
{
    LeavePending();
    for (const auto& [name, value, says] :
         {std::tuple{"Dump", Json(5), "Backup::Dump 5 is no text that a run writes; everything is looked at again"},
          std::tuple{"SelectionContent", Json(7),
                     "Backup::SelectionContent 7 is no text that a run writes; everything is looked at again"},
          std::tuple{"Destinations", Json::array({1}), "Backup::Destinations [1] is no text; it counts as missing"}}) {
        const Json before = RunSettings();
        SetRunSetting(name, value);
        EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "settings", says), "warning") << name;
        WriteRunSettings(before.dump());
    }
    SetRunSetting("Dump", 5);
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "dump", "is not as the last run left it"), "warning");
}

TEST_F(DoctorOfLostSettings, AnEnumerationThatIsNotedForTheFutureIsAWarning)
{
    SetRunSetting("FirstTimeRunTime", 2140000000);
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "due", "was complete in the future"), "warning");
}

} // namespace

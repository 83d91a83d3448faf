// Settings that cannot be used as they stand: a destination in another spelling, odd values, and files that cannot be
// written.
#include "tests/host/DoctorFixture.h"

#include <set>

namespace
{

class SettingsState : public Doctor
{
protected:
    ~SettingsState() override
    {
        for (const wchar_t* name :
             {L"data\\ServiceRunSettings.json", L"data\\UserConfigurations.json", L"data\\watcher_dump.bin"})
            SetFileAttributesW(Path(name).c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    void SetDestination(const std::wstring& text) const
    {
        folder.WriteBytes(L"data\\UserConfigurations.json", Json{{"Backup", {{"path", Utf8(text)}}}}.dump());
    }
    Arguments Named(const wchar_t* command, const Arguments& more = {}) const
    {
        return Joined({command, L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    bool IsAskedOnce(const Arguments& arguments, const std::string& part) const
    {
        HostProcess host(arguments);
        host.Finish();
        std::size_t count = 0;
        for (const Json& note : host.Errors())
            count += note.value("message", "").find(part) != std::string::npos;
        EXPECT_EQ(count, 1u) << Utf8(arguments[0]);
        return count == 1;
    }
    // Lets a watch leave one pending file in the dump.
    std::string LeavePending() const
    {
        const auto watch = StartWatch({L"--collect"});
        const std::string path = Utf8(Write(L"pending.txt", "p"));
        EXPECT_FALSE(watch->WaitForType("collected").empty());
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
        return path;
    }
};

TEST_F(SettingsState, TheDestinationHoldsInEverySpelling)
{
    Write(L"Backup\\b.txt", "x");
    std::wstring slashes = InTree(L"Backup");
    std::ranges::replace(slashes, L'\\', L'/');
    for (const std::wstring& text :
         {slashes, InTree(L"other\\..\\Backup"), InTree(L"Backup  "), L"\\\\?\\" + InTree(L"Backup")}) {
        SetDestination(text);
        HostProcess host(Named(L"enumerate"));
        EXPECT_EQ(host.Finish(), 0) << Utf8(text);
        EXPECT_EQ(host.Records().back().at("skipped").at("backupFolder"), 1) << Utf8(text);
    }
}

TEST_F(SettingsState, ADestinationThatIsNoFullPathIsNamedByEveryCommandAndTheDoctor)
{
    SetDestination(L"Backup\\here");
    WriteSelection(L"new.xml", Item(L"path=\"" + tree + L"\\new\" type=\"1\" includeSub=\"1\""));
    for (const Arguments& arguments :
         {Named(L"watch", {L"--until-quiet", L"0.2"}), Named(L"enumerate"), Named(L"estimate"),
          Named(L"explain", {tree}), Named(L"export", {L"--to", Path(L"list.xml")}),
          Named(L"add", {L"--rules", Path(L"new.xml")})})
        IsAskedOnce(arguments, "Backup::path \"Backup\\here\"");
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "settings", "Backup::path \"Backup\\here\""), "warning");
}

TEST_F(SettingsState, ADestinationThatIsNotThereIsNamedByEveryCommandAndTheDoctor)
{
    SetDestination(Path(L"misspelled"));
    for (const Arguments& arguments : {Named(L"watch", {L"--until-quiet", L"0.2"}), Named(L"enumerate"),
                                       Named(L"estimate"), Named(L"explain", {tree})})
        IsAskedOnce(arguments, "the destination of the setting Backup::path: not there");
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "settings", "Backup::path: not there"), "warning");
    std::filesystem::create_directories(Path(L"misspelled"));
    HostProcess quiet(Named(L"enumerate"));
    quiet.Finish();
    EXPECT_FALSE(IsSaid(quiet, "Backup::path"));
}

TEST_F(SettingsState, OddValuesAreNamedWithWhatIsUsedInstead)
{
    folder.WriteBytes(L"data\\UserConfigurations.json",
                      R"({"AppConfig": {"NetworkScanIntervalInHours": "daily"}, "Backup": {"path": 7}})");
    folder.WriteBytes(L"data\\MainSettings.json",
                      R"({"Main": {"Online": "yes", "ObjectNames": "local machine", "LogLevel": 3}})");
    const std::vector<Json> records = Examined({}, End::Well);
    for (const char* text : {"AppConfig::NetworkScanIntervalInHours \"daily\" is no number; 24 is used",
                             "Backup::path \"7\"", "Main::Online \"yes\" is no number; 0 is used",
                             "Main::ObjectNames \"local machine\" is none of Global, Local; Global is used",
                             "Main::LogLevel 3 is none of errors, all; errors is used"})
        EXPECT_EQ(StateOf(records, "settings", text), "warning");
    folder.WriteBytes(L"data\\UserConfigurations.json", R"({"AppConfig": {"NetworkScanIntervalInHours": -1}})");
    EXPECT_EQ(StateOf(Examined({}, End::Well), "settings", "every half hour"), "warning");
}

TEST_F(SettingsState, UsualValuesAreNotNamed)
{
    folder.WriteBytes(L"data\\UserConfigurations.json", R"({"AppConfig": {"NetworkScanIntervalInHours": "12"}})");
    folder.WriteBytes(L"data\\MainSettings.json",
                      R"({"Main": {"Online": true, "ObjectNames": "local", "LogLevel": "ALL", "Instance": "mine"}})");
    for (const Json& record : Examined({}, End::Well))
        EXPECT_TRUE(record.value("name", "") != "settings" || record.value("state", "") == "ok") << record;
}

TEST_F(SettingsState, ReadOnlyRunSettingsFailInTheDoctorAndEndAWatchWithThree)
{
    ASSERT_TRUE(SetFileAttributesW((data + L"\\ServiceRunSettings.json").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(StateOf(ExaminedWhole(End::Badly), "settings", "cannot be written"), "failed");
    HostProcess host(Named(L"watch", {L"--until-quiet", L"0.2"}));
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_TRUE(IsSaid(host, "cannot be written"));
    std::set<std::string> notes;
    for (const Json& note : host.Errors())
        EXPECT_TRUE(notes.insert(note.value("message", "")).second) << note;
}

TEST_F(SettingsState, AReadOnlyDumpIsReplacedLikeAnother)
{
    LeavePending();
    const std::wstring dump = data + L"\\watcher_dump.bin";
    ASSERT_TRUE(SetFileAttributesW(dump.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(StateOf(Examined({}, End::Well), "dump", "comes first at the next watch"), "ok");
    HostProcess first(Named(L"watch", {L"--until-quiet", L"0.2"}));
    EXPECT_EQ(first.Finish(), 0);
    EXPECT_FALSE(first.WaitForPath(InTree(L"pending.txt")).empty());
    EXPECT_FALSE(std::filesystem::exists(dump));
    HostProcess second(Named(L"watch", {L"--until-quiet", L"0.2"}));
    EXPECT_EQ(second.Finish(), 0);
    EXPECT_FALSE(IsSaid(second, "was put there since"));
}

TEST_F(SettingsState, AFolderInThePlaceOfSettingsIsPutAside)
{
    for (const wchar_t* name : {L"MainSettings.json", L"UserConfigurations.json", L"ServiceRunSettings.json"}) {
        const std::wstring path = data + L"\\" + name;
        std::filesystem::remove(path);
        std::filesystem::create_directories(path + L"\\deeper");
        EXPECT_EQ(StateOf(Examined({}, End::Badly), "settings", Utf8(name)), "failed");
        HostProcess host(Named(L"watch", {L"--until-quiet", L"0.2"}));
        EXPECT_EQ(host.Finish(), 0);
        EXPECT_TRUE(IsSaid(host, "a folder")) << Utf8(name);
        EXPECT_TRUE(std::filesystem::is_directory(path + L".bad\\deeper"));
        EXPECT_FALSE(std::filesystem::is_directory(path));
    }
}

} // namespace

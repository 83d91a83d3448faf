// The findings of the doctor, which leaves everything as it was.
#include "tests/host/DoctorFixture.h"

namespace
{

TEST_F(Doctor, AHealthyMachineHasNoFailures)
{
    MakeIndex(5);
    const std::vector<Json> records = ExaminedWhole(End::Well);
    EXPECT_EQ(StateOf(records, "settings", "JSON files"), "ok");
    EXPECT_EQ(StateOf(records, "runs", "none was killed"), "ok");
    EXPECT_EQ(StateOf(records, "index", "holds 5 items, 2 of them folders"), "ok");
    EXPECT_EQ(StateOf(records, "selection", "can be loaded; 1 rule"), "ok");
    EXPECT_EQ(StateOf(records, "drives", "c:\\"), "ok");
    EXPECT_EQ(StateOf(records, "notifications", "tells of changes"), "ok");
    CheckOf(records, "limits", "max_user_watches");
    CheckOf(records, "limits", "max_queued_events");
    CheckOf(records, "limits", "files can be open");
    CheckOf(records, "room", "MiB are free");
    EXPECT_EQ(records.back().at("failed"), 0);
}

TEST_F(Doctor, NothingChangesByItsLook)
{
    MakeIndex(3);
    folder.WriteBytes(L"data\\UserConfigurations.json", "{ this is no JSON");
    folder.WriteBytes(L"data\\watcher_running_4000000_1.bin", "");
    folder.WriteBytes(L"data\\OrbWatcher.log", "a line\r\n");
    const auto before = Everything();
    ExaminedWhole(End::Badly);
    EXPECT_EQ(Everything(), before);
}

TEST_F(Doctor, AnIndexInUseIsReadWithItsLogAndLeftAsItIs)
{
    MakeIndex(3);
    CIndexDB database;
    OpenWithItem(database, L"C:\\in the log");
    const auto before = Everything();
    const std::vector<Json> records = Examined({L"--index", index}, End::Well);
    EXPECT_EQ(StateOf(records, "index", "holds 4 items"), "ok");
    EXPECT_EQ(Everything().size(), before.size());
    EXPECT_TRUE(Record(database, L"C:\\in the log")); // and it can go on
}

TEST_F(Doctor, ADataFolderThatIsNotThereIsNotMade)
{
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", Path(L"none").c_str());
    const std::vector<Json> records = Examined({}, End::Well);
    EXPECT_EQ(StateOf(records, "settings", "not there yet"), "ok");
    EXPECT_FALSE(std::filesystem::exists(Path(L"none")));
}

TEST_F(Doctor, DamagedSettingsAndThoseThatWerePutAsideAreTold)
{
    folder.WriteBytes(L"data\\UserConfigurations.json", "{ this is no JSON");
    folder.WriteBytes(L"data\\MainSettings.json", "{}");
    folder.WriteBytes(L"data\\MainSettings.json.bad", "[");
    const std::vector<Json> records = Examined({}, End::Badly);
    EXPECT_EQ(StateOf(records, "settings", "UserConfigurations.json"), "failed");
    EXPECT_EQ(StateOf(records, "settings", "MainSettings.json.bad"), "warning");
    EXPECT_EQ(StateOf(records, "settings", "can be read and written"), "ok");
}

TEST_F(Doctor, ADataFolderThatIsAFileIsAFailure)
{
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", Path(L"selection.xml").c_str());
    EXPECT_EQ(StateOf(Examined({}, End::Badly), "settings", "a file stands where the data folder should be"), "failed");
}

TEST_F(Doctor, AKilledWatchIsTold)
{
    {
        const std::unique_ptr<HostProcess> watch = StartWatch({});
        EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "runs", "a watcher runs"), "ok");
        watch->Kill();
        watch->Finish();
    }
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "runs", "was killed or crashed"), "warning");
}

TEST_F(Doctor, AnIndexThatCannotBeUsedIsToldWithWhatToDo)
{
    folder.WriteBytes(L"index.db", std::string(5000, 'x'));
    EXPECT_EQ(StateOf(ExaminedWhole(End::Badly), "index", "move it away to start anew"), "failed");
    std::filesystem::remove(index);
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "index", "the first watch makes it"), "warning");
    EXPECT_FALSE(std::filesystem::exists(index));
}

TEST_F(Doctor, ADamagedPageOfTheIndexIsFound)
{
    MakeIndex(2000);
    std::string bytes = folder.ReadBytes(L"index.db");
    ASSERT_GT(bytes.size(), 40960u);
    bytes.replace(20480, 4096, std::string(4096, '\xee'));
    folder.WriteBytes(L"index.db", bytes);
    EXPECT_EQ(StateOf(ExaminedWhole(End::Badly), "index", "move it away to start anew"), "failed");
}

TEST_F(Doctor, ASelectionThatCannotBeReadAndRulesThatLeadNowhereAreTold)
{
    folder.WriteBytes(L"selection.xml", "<Data><Item");
    EXPECT_EQ(StateOf(ExaminedWhole(End::Badly), "selection", "orbwatch init FOLDER"), "failed");
    WriteSelection(TreeItem() + Item(L"path=\"q:\\gone\" type=\"1\" includeSub=\"1\"") +
                   Item(L"path=\"" + InTree(L"not there") + L"\" type=\"1\" includeSub=\"1\""));
    const std::vector<Json> records = ExaminedWhole(End::Well);
    EXPECT_EQ(StateOf(records, "selection", "can be loaded; 3 rules"), "ok");
    EXPECT_EQ(StateOf(records, "selection", "included, and not there;"), "warning");
    EXPECT_EQ(StateOf(records, "drives", "q:\\"), "warning");
}

TEST_F(Doctor, WhomTheDataFolderBelongsToIsToldAndComparedWithWhatIsNamed)
{
    {
        const std::unique_ptr<HostProcess> watch = StartWatch({});
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
    }
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "owner", "belongs to the selection"), "ok");
    EXPECT_EQ(StateOf(Examined({}, End::Well), "owner", "belongs to the selection"), "ok");
    WriteSelection(L"other.xml", TreeItem());
    for (const Arguments& other : {Arguments{L"--data", Path(L"other.xml")}, Arguments{L"--index", Path(L"other.db")}})
        EXPECT_EQ(StateOf(Examined(other, End::Well), "owner", "--take-over"), "warning");
}

TEST_F(Doctor, AnIndexThatIsNotTheOneOfTheLastRunIsTold)
{
    {
        const std::unique_ptr<HostProcess> watch = StartWatch({});
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
    }
    std::filesystem::remove(index);
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "owner", "the index of the last run is lost"), "warning");
    MakeIndex(1);
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "owner", "not the one of the last run"), "warning");
}

TEST_F(Doctor, ADumpThatIsNotAsTheLastRunLeftItIsTold)
{
    {
        const std::unique_ptr<HostProcess> watch = StartWatch({L"--collect"});
        Write(L"a.txt", "a");
        EXPECT_FALSE(watch->WaitForType("collected").empty());
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
    }
    EXPECT_EQ(StateOf(Examined({}, End::Well), "dump", "comes first at the next watch"), "ok");
    const std::string bytes = folder.ReadBytes(L"data\\watcher_dump.bin");
    folder.WriteBytes(L"data\\watcher_dump.bin", bytes.substr(0, bytes.size() - 2));
    EXPECT_EQ(StateOf(Examined({}, End::Well), "dump", "not as the last run left it"), "warning");
    std::filesystem::remove(data + L"\\watcher_dump.bin");
    EXPECT_EQ(StateOf(Examined({}, End::Well), "dump", "is missing"), "warning");
}

TEST_F(Doctor, LinesForPeopleBeginWithTheState)
{
    HostProcess host({L"doctor"});
    host.Finish();
    for (const std::string& line : host.OutputLines())
        EXPECT_TRUE(line.starts_with("ok       ") || line.starts_with("warning  ") || line.starts_with("failed   ") ||
                    line.ends_with(" failed"))
            << line;
}

TEST_F(Doctor, AReadOnlyIndexIsAFailure)
{
    MakeIndex(1);
    ASSERT_TRUE(SetFileAttributesW(index.c_str(), FILE_ATTRIBUTE_READONLY));
    const std::vector<Json> records = ExaminedWhole(End::Badly);
    ASSERT_TRUE(SetFileAttributesW(index.c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(StateOf(records, "index", "can be read and not written"), "failed");
}

TEST_F(Doctor, ADataFolderOnADriveThatIsNotThereIsAFailure)
{
    const std::vector<Json> records = Examined({L"--data-folder", L"Q:\\data"}, End::Badly);
    EXPECT_EQ(StateOf(records, "settings", "cannot be made"), "failed");
}

// Nothing can be made in this folder by an ordinary account, and under Wine by no account.
TEST_F(Doctor, AFolderWhereNothingCanBeWrittenIsAFailure)
{
    const std::vector<Json> folderRecords = Examined({L"--data-folder", ForbiddenFolder()}, End::Badly);
    EXPECT_EQ(StateOf(folderRecords, "settings", "the data folder cannot be used"), "failed");
    const std::vector<Json> indexRecords = Examined({L"--index", ForbiddenFolder() + L"\\index.db"}, End::Badly);
    EXPECT_EQ(StateOf(indexRecords, "index", "nothing can be written beside it"), "failed");
}

} // namespace

// Messages about things that a user cannot guess: files in the data folder, the volumes of rules, masks that cancel
// each other, and damaged files.
#include "tests/host/DoctorFixture.h"

namespace
{

class SaidToTheUser : public Doctor
{
protected:
    ~SaidToTheUser() override { SetEnvironmentVariableW(L"ORB_DATA_FOLDER", data.c_str()); }

    Arguments Named(const wchar_t* command, const Arguments& more = {}) const
    {
        return Joined({command, L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    Arguments ShortWatch() const { return Named(L"watch", {L"--until-quiet", L"0.2"}); }
    // The code of the command, and what it said on standard error.
    static std::pair<int, std::string> Run(const Arguments& arguments)
    {
        HostProcess host(arguments);
        const int code = host.Finish();
        std::string said;
        for (const Json& record : host.Errors())
            said += record.value("message", "") + "\n";
        return {code, said};
    }
    static bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

    // Puts the data folder into the selected tree.
    std::wstring DataInTree() const
    {
        const std::wstring inside = InTree(L"data");
        std::filesystem::create_directories(inside);
        folder.WriteBytes(L"tree\\data\\ServiceRunSettings.json", folder.ReadBytes(L"data\\ServiceRunSettings.json"));
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", inside.c_str());
        return inside;
    }
    std::string Rule(const std::wstring& path, const std::wstring& more = {}) const
    {
        return Item(L"path=\"" + path + L"\" type=\"1\" includeSub=\"1\" " + more);
    }
};

TEST_F(SaidToTheUser, AFileOfTheSelectionInTheDataFolderIsNamedByWatchEnumerateAndDoctor)
{
    const std::wstring inside = DataInTree();
    Write(L"data\\sub\\mine.txt", "x");
    for (const Arguments& arguments : {ShortWatch(), Named(L"enumerate")}) {
        const auto [code, said] = Run(arguments);
        EXPECT_TRUE(Has(said, "never backed up, because " + Utf8(inside) + " is the data folder")) << said;
        EXPECT_TRUE(Has(said, "mine.txt")) << said;
        EXPECT_EQ(said.find("is the data folder"), said.rfind("is the data folder")) << said;
    }
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "settings", "is not the product's own"), "warning");
}

TEST_F(SaidToTheUser, TheProductsOwnFilesInTheDataFolderAreNotNamed)
{
    const std::wstring inside = DataInTree();
    const std::wstring own = inside + L"\\index.db";
    const Arguments watch{L"watch",   L"--json", L"--data",        Path(L"selection.xml"),
                          L"--index", own,       L"--until-quiet", L"0.2"};
    folder.WriteBytes(L"tree\\data\\UserConfigurations.json.bad", "x");
    std::filesystem::create_directories(folder.Path(L"tree\\data\\outbox").GetString());
    folder.WriteBytes(L"tree\\data\\outbox\\Transaction12.tdb", "x");
    folder.WriteBytes(L"tree\\data\\outbox\\next", "13");
    EXPECT_TRUE(Has(Run(watch).second, "the index is new"));
    EXPECT_FALSE(Has(Run(watch).second, "is the data folder"));
    HostProcess doctor({L"doctor", L"--json"});
    doctor.Finish();
    for (const Json& record : doctor.Records())
        EXPECT_FALSE(Has(record.value("text", ""), "not the product's own")) << record;
}

TEST_F(SaidToTheUser, AFileInTheDataFolderThatTheSelectionLeavesOutIsNoNote)
{
    const std::wstring inside = DataInTree();
    Write(L"data\\mine.txt", "x");
    WriteSelection(TreeItem() + Rule(inside, L"exclude=\"1\""));
    EXPECT_FALSE(Has(Run(Named(L"enumerate")).second, "is the data folder"));
}

TEST_F(SaidToTheUser, AVidThatNamesNoVolumeChangesNothing)
{
    Write(L"a.txt", "x");
    for (const wchar_t* vid : {L"0", L"zz"}) {
        WriteSelection(TreeItem() + Rule(InTree(L"sub"), L"exclude=\"1\" vid=\"" + std::wstring(vid) + L"\""));
        for (const Arguments& arguments : {Named(L"enumerate"), Named(L"estimate")}) {
            const auto [code, said] = Run(arguments);
            EXPECT_EQ(code, 0) << Utf8(vid) << said;
            EXPECT_FALSE(Has(said, "another volume")) << said;
        }
        EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "drives", "there, "), "ok");
    }
}

TEST_F(SaidToTheUser, TheVolumeOfTheDeepestRuleKeepsTheWholeDriveWaitingAndThatIsSaid)
{
    Write(L"a.txt", "x");
    WriteSelection(TreeItem() + Rule(InTree(L"sub"), L"exclude=\"1\" vid=\"12345\""));
    const std::string waits = "is watched or enumerated until the volume 12345 is there";
    for (const Arguments& arguments : {ShortWatch(), Named(L"enumerate")}) {
        const auto [code, said] = Run(arguments);
        EXPECT_EQ(code, 3);
        EXPECT_TRUE(Has(said, waits)) << said;
        EXPECT_EQ(said.find(waits), said.rfind(waits)) << said;
    }
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "selection", waits), "warning");
    EXPECT_TRUE(Has(folder.ReadBytes(L"data\\OrbWatcher.log"), waits));
}

TEST_F(SaidToTheUser, TheVolumeOfAShallowerRuleLeavesNothingOutAndThatIsSaid)
{
    Write(L"sub\\a.txt", "x");
    WriteSelection(Rule(tree, L"vid=\"12345\"") + Rule(InTree(L"sub")));
    HostProcess host(Named(L"enumerate"));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_FALSE(host.WaitForPath(InTree(L"sub\\a.txt")).empty());
    EXPECT_TRUE(IsSaid(host, "holds for the volume that is there"));
    EXPECT_FALSE(IsSaid(host, "left out"));
}

TEST_F(SaidToTheUser, EqualMasksThatAreIncludedAndExcludedIncludeNothing)
{
    WriteSelection(Rule(tree, L"mask=\".doc\"") + Rule(tree, L"mask=\".DOC\" exclude=\"1\""));
    for (const Arguments& arguments : {ShortWatch(), Named(L"enumerate"), Named(L"estimate")}) {
        const auto [code, said] = Run(arguments);
        EXPECT_EQ(code, 3) << Utf8(arguments[0]);
        EXPECT_TRUE(Has(said, "the selection includes nothing")) << said;
    }
    WriteSelection(Rule(tree, L"mask=\".doc\"") + Rule(tree, L"mask=\".txt\" exclude=\"1\""));
    EXPECT_EQ(Run(Named(L"enumerate")).first, 0);
}

TEST_F(SaidToTheUser, DamagedUserSettingsNameTheLineTheBackslashAndTheDestination)
{
    const char* const damaged = "{\n  \"Backup\": {\n    \"path\": \"D:\\Backup\\new\\q\"\n  }\n}\n";
    folder.WriteBytes(L"data\\UserConfigurations.json", damaged);
    const Json check = CheckOf(Examined({}, End::Badly), "settings", "damaged");
    const std::string text = check.value("text", "");
    const std::string said = Run(Named(L"enumerate")).second;
    for (const char* part :
         {"line 3: a backslash is written twice", "The backup destination that it named is not known"})
        for (const std::string& words : {text, said})
            EXPECT_TRUE(Has(words, part)) << words;
}

TEST_F(SaidToTheUser, TheDoctorDescribesADamagedIndexInOneLineAndSaysWhatToDo)
{
    std::filesystem::remove(index);
    MakeIndex(200);
    std::string bytes = folder.ReadBytes(L"index.db");
    constexpr std::size_t page = 4096;
    ASSERT_GT(bytes.size(), 4 * page);
    for (std::size_t at = 2 * page; at < 3 * page; ++at)
        bytes[at] = static_cast<char>(at * 7);
    folder.WriteBytes(L"index.db", bytes);
    const Json check = CheckOf(ExaminedWhole(End::Badly), "index", "move it away");
    const std::string text = check.value("text", "");
    EXPECT_TRUE(text.starts_with("damaged: ")) << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    EXPECT_TRUE(Has(text, "looks at everything again")) << text;
}

} // namespace

// The destination and the product's own files are never backed up, and every command says so.
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class KeptOutOfCommands : public HostTest
{
protected:
    Arguments Command(const wchar_t* name, const Arguments& more = {}) const
    {
        return Joined({name, L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    static std::set<std::string> PathsOf(const std::vector<Json>& records, const char* type)
    {
        std::set<std::string> paths;
        for (const Json& record : OfType(records, type))
            paths.insert(record.at("path").get<std::string>());
        return paths;
    }
    static bool AnyHas(const std::vector<Json>& records, const std::string& part)
    {
        return std::any_of(records.begin(), records.end(), [&](const Json& record) {
            return record.at("message").get<std::string>().find(part) != std::string::npos;
        });
    }
    static std::string AllText(const std::vector<std::string>& lines)
    {
        std::string all;
        for (const std::string& line : lines)
            all += line + "\n";
        return all;
    }
};

TEST_F(KeptOutOfCommands, AnEnumerationLeavesTheDestinationOut)
{
    Write(L"a.txt", "x");
    Write(L"Backup\\deeper\\b.txt", "x");
    Write(L"Backups\\c.txt", "x");
    HostProcess host(Command(L"enumerate", {L"--destination", InTree(L"bACKUP")}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(PathsOf(host.Records(), "pending"),
              (std::set<std::string>{Utf8(InTree(L"")), Utf8(InTree(L"a.txt")), Utf8(InTree(L"Backups\\")),
                                     Utf8(InTree(L"Backups\\c.txt"))}));
    EXPECT_EQ(host.Records().back().at("skipped").at("backupFolder"), 1);
}

TEST_F(KeptOutOfCommands, AWatchLeavesTheDestinationOut)
{
    std::filesystem::create_directories(InTree(L"Backup"));
    const auto watch = StartWatch({L"--destination", InTree(L"Backup")});
    Write(L"Backup\\b.txt", "x");
    const std::wstring last = Write(L"last.txt", "x");
    EXPECT_FALSE(watch->WaitForPath(last).empty());
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    EXPECT_FALSE(PathsOf(watch->Records(), "pending").contains(Utf8(InTree(L"Backup\\b.txt"))));
}

TEST_F(KeptOutOfCommands, AnEstimateCountsNothingOfTheDestinationAndSaysSo)
{
    Write(L"a.txt", "x");
    Write(L"Backup\\b.txt", "xyz");
    HostProcess host(Command(L"estimate", {L"--destination", InTree(L"Backup")}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().back().at("files"), 1);
    EXPECT_TRUE(AnyHas(host.Errors(), "the backup destination is never backed up"));
}

TEST_F(KeptOutOfCommands, AnExplanationSaysInWordsWhyAPathIsKeptOut)
{
    HostProcess host({L"explain", L"--data", Path(L"selection.xml"), L"--destination", InTree(L"Backup"), L"--index",
                      InTree(L"index.db"), InTree(L"Backup\\a.txt"), InTree(L"index.db-wal"),
                      data + L"\\MainSettings.json", InTree(L"a.txt")});
    EXPECT_EQ(host.Finish(), 0);
    const std::string text = AllText(host.OutputLines());
    EXPECT_NE(text.find("NotIncluded\n    the backup destination is never backed up"), std::string::npos) << text;
    EXPECT_NE(text.find("index.db-wal: NotIncluded\n    the product's own files are never backed up"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("MainSettings.json: NotIncluded\n    the product's own files are never backed up"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("a.txt: Included"), std::string::npos) << text;
}

TEST_F(KeptOutOfCommands, ARuleInTheDestinationIsNamedAndTheCodeSaysSo)
{
    WriteSelection(TreeItem() + Item(L"path=\"" + InTree(L"Backup\\mine") + L"\" type=\"1\" includeSub=\"1\""));
    std::filesystem::create_directories(InTree(L"Backup\\mine"));
    for (const Arguments& arguments :
         {Command(L"enumerate"), Command(L"watch", {L"--until-quiet", L"0.2"}), Command(L"estimate")}) {
        HostProcess host(Joined(arguments, {L"--destination", InTree(L"Backup")}));
        EXPECT_EQ(host.Finish(), 3) << Utf8(arguments[0]);
        const std::vector<Json> skipped = OfType(host.Records(), "skipped");
        ASSERT_EQ(skipped.size(), 1u) << Utf8(arguments[0]);
        EXPECT_EQ(skipped[0].at("path"), Utf8(InTree(L"Backup\\mine\\")));
        EXPECT_EQ(skipped[0].at("reason"), "backupFolder");
    }
}

TEST_F(KeptOutOfCommands, ADestinationThatCanBeNoneIsRefusedBeforeAnythingIsDone)
{
    Write(L"file", "x");
    for (const std::wstring& destination : {InTree(L"what?"), InTree(L"file\\deeper")})
        for (const wchar_t* name : {L"watch", L"enumerate", L"explain", L"estimate"}) {
            HostProcess host(Joined(Command(name, {L"--destination", destination}),
                                    std::wstring(name) == L"explain" ? Arguments{tree} : Arguments{}));
            EXPECT_EQ(host.Finish(), 2) << Utf8(name);
            EXPECT_NE(OnlyError(host).value("message", "").find("the destination cannot be used"), std::string::npos);
            EXPECT_TRUE(host.Records().empty());
        }
}

TEST_F(KeptOutOfCommands, ADestinationThatIsProbablyNotMeantIsNamed)
{
    for (const auto& [destination, words] :
         {std::pair{L"Q:\\Backup", "is not there"}, std::pair{L"C:\\misspelled", "not there; is it spelled right?"}}) {
        HostProcess host(Command(L"enumerate", {L"--destination", destination}));
        EXPECT_EQ(host.Finish(), 0);
        EXPECT_TRUE(AnyHas(host.Errors(), words)) << words;
    }
    std::filesystem::create_directories(Path(L"there"));
    HostProcess silent(Command(L"enumerate", {L"--destination", Path(L"there")}));
    EXPECT_EQ(silent.Finish(), 0);
    EXPECT_TRUE(silent.Errors().empty());
}

TEST_F(KeptOutOfCommands, TheDoctorLooksAtTheDestination)
{
    Write(L"file", "x");
    const auto state = [&](const std::wstring& destination) {
        HostProcess host({L"doctor", L"--json", L"--destination", destination});
        host.Finish();
        for (const Json& check : OfType(host.Records(), "check"))
            if (check.at("name") == "destination")
                return check.at("state").get<std::string>();
        return std::string();
    };
    EXPECT_EQ(state(InTree(L"file")), "failed");
    EXPECT_EQ(state(L"relative"), "failed");
    EXPECT_EQ(state(L"Q:\\Backup"), "warning");
    EXPECT_EQ(state(Path(L"later")), "warning");
    std::filesystem::create_directories(Path(L"later"));
    EXPECT_EQ(state(Path(L"later")), "ok");
}

TEST_F(KeptOutOfCommands, AWatchIntoAFileOfTheSelectionDoesNotCauseItsOwnRecords)
{
    const std::wstring out = InTree(L"out.txt");
    HostProcess host(Watch({L"--until-quiet", L"1", L"--timeout", L"25"}), HostProcess::OutputFile{out});
    EXPECT_FALSE(host.WaitForErrorType("note").empty());
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_TRUE(AnyHas(host.Errors(), "output goes to a file of the selection"));
    std::ifstream file(std::filesystem::path(out), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("\"type\":\"ready\""), std::string::npos) << text;
    EXPECT_EQ(text.find("out.txt"), std::string::npos) << text;
}

TEST_F(KeptOutOfCommands, TheListThatAWatchIsAskedForDoesNotBecomePending)
{
    const auto watch = StartWatch({L"--collect"});
    Write(L"a.txt", "x");
    EXPECT_FALSE(watch->WaitFor([](const Json& record) { return record.value("pending", 0) == 1; }).empty());
    HostProcess exported(Command(L"export", {L"--to", InTree(L"list.xml")}));
    EXPECT_EQ(exported.Finish(), 0);
    Write(L"b.txt", "x");
    EXPECT_FALSE(watch->WaitFor([](const Json& record) { return record.value("pending", 0) == 2; }).empty());
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    EXPECT_EQ(OfType(watch->Records(), "summary").back().at("pending"), 2);
}

} // namespace

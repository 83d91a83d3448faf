// Mistakes in the input, and their messages.
#include "tests/host/HostTest.h"

namespace
{

class BadInput : public HostTest
{
protected:
    // Code 2, and one failure that names the file.
    void ExpectUnreadable(const Arguments& arguments, const wchar_t* file)
    {
        HostProcess host(arguments);
        EXPECT_EQ(host.Finish(), 2);
        const Json error = OnlyError(host);
        EXPECT_EQ(error.value("path", ""), Utf8(Path(file)));
        EXPECT_FALSE(error.value("message", "").empty());
        EXPECT_TRUE(error.contains("seq") && error.contains("time"));
        EXPECT_TRUE(host.Records().empty());
    }
    void ExpectUsageError(const Arguments& arguments)
    {
        HostProcess host(arguments);
        EXPECT_EQ(host.Finish(), 2);
        ASSERT_EQ(host.ErrorLines().size(), 1u);
        EXPECT_TRUE(host.ErrorLines().front().starts_with("orbwatch: ")) << host.ErrorLines().front();
        EXPECT_TRUE(host.OutputLines().empty());
    }
    std::string Notes(const HostProcess& host)
    {
        std::string all;
        for (const Json& note : OfType(host.Errors(), "note"))
            all += note.at("message").get<std::string>() + "\n";
        return all;
    }
};

TEST_F(BadInput, AMissingSelectionIsNamedBeforeAnythingIsMade)
{
    ForgetUse();
    std::filesystem::remove(Path(L"selection.xml"));
    ExpectUnreadable(Watch({L"--until-quiet", L"0.2"}), L"selection.xml");
    EXPECT_FALSE(std::filesystem::exists(index));
}

TEST_F(BadInput, EmptyTruncatedAndWronglyEncodedSelectionsAreNamed)
{
    const std::string whole = "<Data>" + TreeItem() + "</Data>";
    const std::string bad[] = {"", whole.substr(0, whole.size() / 2), "\xFF\xFE" + whole, "<Rules/>",
                               "<Data><Item path=\"C:\\\xFF\"/></Data>"};
    for (const std::string& bytes : bad) {
        folder.WriteBytes(L"selection.xml", bytes);
        ExpectUnreadable(Explain({L"C:\\x"}), L"selection.xml");
    }
}

TEST_F(BadInput, TheOtherFilesOfASelectionAreLookedAtLikeTheFirst)
{
    folder.WriteBytes(L"bad.xml", "<Data><Item");
    for (const wchar_t* option : {L"--auto-exclude", L"--advanced", L"--secondary"}) {
        ExpectUnreadable(Explain({option, Path(L"bad.xml"), L"C:\\x"}), L"bad.xml");
        ExpectUnreadable(Explain({option, Path(L"missing.xml"), L"C:\\x"}), L"missing.xml");
    }
}

TEST_F(BadInput, DamagedSettingsAreToldAndKeptBeside)
{
    folder.WriteBytes(L"data\\UserConfigurations.json", "{ this is no JSON");
    HostProcess host(Explain({InTree(L"a.txt")}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_NE(Notes(host).find("damaged"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(data + L"\\UserConfigurations.json.bad"));
    EXPECT_EQ(host.Records().at(0).at("decision"), "Included");
}

TEST_F(BadInput, ALogThatCannotBeWrittenIsToldAndStopsNothing)
{
    // Nothing can be made in this folder by an ordinary account, and under Wine by no account.
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", ForbiddenFolder().c_str());
    HostProcess host(Watch({L"--until-quiet", L"1"}));
    ASSERT_FALSE(host.WaitForType("ready").empty());
    EXPECT_FALSE(host.WaitForPath(Write(L"a.txt", "x")).empty());
    EXPECT_EQ(host.Finish(), 3); // no running mark can be made there, either
    EXPECT_NE(Notes(host).find("cannot be"), std::string::npos);
}

TEST_F(BadInput, ALogThatIsNotTrustedIsToldAndStopsNothing)
{
    folder.WriteBytes(L"elsewhere", "");
    ASSERT_TRUE(CreateHardLinkW((data + L"\\OrbWatcher.log").c_str(), Path(L"elsewhere").c_str(), nullptr));
    HostProcess host(Watch({L"--max-events", L"1", L"--log-level", L"all"}));
    ASSERT_FALSE(host.WaitForType("ready").empty());
    Write(L"a.txt", "x");
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(OfType(host.Records(), "pending").size(), 1u);
    EXPECT_NE(Notes(host).find("OrbWatcher.log cannot be written: the file has a second name"), std::string::npos)
        << Notes(host);
}

TEST_F(BadInput, ASelectionOfAHundredMegabytesIsReadToItsLastRule)
{
    constexpr std::size_t Enough = 100 * 1024 * 1024;
    std::string items;
    items.reserve(Enough + 4096);
    for (int number = 0; items.size() < Enough; ++number)
        items += "<Item path=\"Q:\\folder " + std::to_string(number % 1000) + "\\" + std::to_string(number) +
                 std::string(100, 'n') + "\" type=\"1\" includeSub=\"1\" mask=\"" + std::string(400, 'm') + "\"/>\n";
    WriteSelection(items + TreeItem());
    HostProcess host(Explain({InTree(L"a.txt")}));
    EXPECT_EQ(host.Finish(std::chrono::minutes(3)), 0);
    EXPECT_EQ(host.Records().at(0).at("decision"), "Included");
}

TEST_F(BadInput, ARegularExpressionThatWouldNeverEndIsGivenUp)
{
    const std::wstring advanced =
        WriteSelection(L"advanced.xml", Item(L"path=\"" + tree +
                                             L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" isregex=\"1\""
                                             L" mask=\"(a+)+$\""));
    const std::wstring path = Write(std::wstring(40, L'a') + L"!", "x");
    HostProcess host(Explain({L"--advanced", advanced, path}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().at(0).at("decision"), "Included");
    EXPECT_EQ(host.Records().at(0).at("advanced"), "Included");
    EXPECT_NE(Notes(host).find("Regular expression gave up on " + Utf8(path)), std::string::npos) << Notes(host);
}

TEST_F(BadInput, AMalformedRegularExpressionIsToldAndItsRuleStaysSilent)
{
    const std::wstring advanced =
        WriteSelection(L"advanced.xml", Item(L"path=\"" + tree +
                                             L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" isregex=\"1\" mask=\"(\""));
    HostProcess host(Explain({L"--advanced", advanced, Write(L"a.txt", "x")}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_NE(Notes(host).find("the regular expression \"(\" does not compile (missing closing parenthesis)"),
              std::string::npos)
        << Notes(host);
    EXPECT_EQ(host.Records().at(0).at("decision"), "Included");
}

TEST_F(BadInput, WrongUsageEndsWithTwo)
{
    ExpectUsageError({});
    ExpectUsageError({L"frobnicate"});
    ExpectUsageError({L"watch", L"--data", Path(L"selection.xml")});
    ExpectUsageError({L"watch", L"--data", Path(L"selection.xml"), L"--index", index, L"--timeout", L"soon"});
    ExpectUsageError({L"enumerate", L"--data", Path(L"selection.xml")});
    ExpectUsageError({L"explain", L"--data", Path(L"selection.xml")});
}

TEST_F(BadInput, AFailureSaysWhatToDoNext)
{
    folder.WriteBytes(L"bad.xml", "<Data><Item");
    folder.WriteBytes(L"other.db", "This is no database, but a text that is longer than the header of one would be.");
    const std::pair<Arguments, std::string> tried[] = {
        {{L"watch", L"--nonsense"}, "see orbwatch watch --help"},
        {{L"--nonsense"}, "see orbwatch --help"},
        {{L"overlay", L"--fault", L"slow"}, "slow is none of die, late, silent"},
        {{L"explain", L"--data", Path(L"missing.xml"), L"C:\\x"}, "orbwatch init FOLDER writes a sample"},
        {{L"explain", L"--data", Path(L"bad.xml"), L"C:\\x"}, "orbwatch init FOLDER writes a sample"},
        {{L"watch", L"--data", Path(L"selection.xml"), L"--index", Path(L"other.db")}, "move it away to start anew"},
        {{L"watch", L"--data", Path(L"selection.xml"), L"--index", Path(L"none\\index.db")}, "make the folder"},
        {{L"init", Path(L"bad.xml")}, "Name another one."},
    };
    for (const auto& [arguments, advice] : tried) {
        HostProcess host(arguments);
        EXPECT_NE(host.Finish(), 0);
        ASSERT_EQ(host.ErrorLines().size(), 1u);
        EXPECT_NE(host.ErrorLines().front().find(advice), std::string::npos) << host.ErrorLines().front();
    }
}

TEST_F(BadInput, WrongUsageIsJsonWhenJsonIsAskedFor)
{
    HostProcess host(Watch({L"--nonsense"}));
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_FALSE(OnlyError(host).value("message", "").empty());
}

} // namespace

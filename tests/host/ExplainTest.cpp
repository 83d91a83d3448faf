// Why paths are selected or not.
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class ExplainCommand : public HostTest
{
protected:
    ExplainCommand()
    {
        WriteSelection(
            TreeItem() + Item(L"path=\"" + tree + L"\\private\" type=\"1\" includeSub=\"1\" exclude=\"1\"") +
            Item(L"path=\"" + tree + L"\\photos\" type=\"1\" includeSub=\"1\" masktype=\"2\" mask=\".tmp\""));
        m_automatic = WriteSelection(L"auto.xml",
                                     Item(L"path=\"" + tree + L"\\cache\" type=\"1\" includeSub=\"1\" exclude=\"1\""));
        m_advanced = WriteSelection(L"advanced.xml", Item(L"path=\"" + tree +
                                                          L"\\docs\" type=\"1\" includeSub=\"1\" exclude=\"1\""
                                                          L" isregex=\"1\" mask=\"lock-[0-9]+$\""));
        m_secondary = WriteSelection(L"secondary.xml",
                                     Item(L"path=\"" + tree + L"\\docs\" type=\"1\" includeSub=\"1\" pluginId=\"9\""));
    }
    Arguments Everything(const Arguments& more) const
    {
        return Joined(Explain({L"--auto-exclude", m_automatic, L"--advanced", m_advanced, L"--secondary", m_secondary}),
                      more);
    }
    static const Json& Deciding(const Json& record) { return record.at("rules").at(record.at("deciding").get<int>()); }

    std::wstring m_automatic, m_advanced, m_secondary;
};

TEST_F(ExplainCommand, EveryDecisionNamesItsRulesAndTheOneThatDecided)
{
    std::filesystem::create_directories(InTree(L"docs\\folder"));
    const std::vector<std::wstring> paths = {Write(L"docs\\letter.txt", "x"), Write(L"docs\\lock-17", "x"),
                                             InTree(L"private\\secret.txt"),  InTree(L"cache\\page.htm"),
                                             InTree(L"photos\\sea.tmp"),      L"C:\\elsewhere\\file.txt",
                                             InTree(L"docs\\folder")};
    HostProcess host(Everything(paths));
    ASSERT_EQ(host.Finish(), 0);
    const std::vector<Json> records = host.Records();
    ASSERT_EQ(records.size(), paths.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].at("type"), "explain");
        EXPECT_EQ(records[i].at("seq"), i + 1);
        EXPECT_EQ(records[i].at("path"), Utf8(paths[i]));
    }
    const Json &letter = records[0], &lock = records[1], &secret = records[2], &page = records[3], &sea = records[4],
               &elsewhere = records[5], &directory = records[6];

    EXPECT_EQ(letter.at("decision"), "Included");
    EXPECT_EQ(letter.at("ordinary"), "Included");
    EXPECT_EQ(letter.at("advanced"), "Included");
    EXPECT_EQ(Deciding(letter).at("source"), "data");
    EXPECT_EQ(Deciding(letter).at("kind"), "include");
    std::set<std::string> sources;
    for (const Json& rule : letter.at("rules"))
        sources.insert(rule.at("source").get<std::string>());
    EXPECT_TRUE(sources.contains("secondary"));

    EXPECT_EQ(lock.at("decision"), "Excluded");
    EXPECT_EQ(lock.at("ordinary"), "Included");
    EXPECT_EQ(lock.at("advanced"), "Excluded");
    EXPECT_EQ(Deciding(lock).at("source"), "advanced");
    EXPECT_EQ(Deciding(lock).at("isregex"), true);
    EXPECT_EQ(Deciding(lock).at("mask"), "lock-[0-9]+$");

    EXPECT_EQ(secret.at("decision"), "Excluded");
    EXPECT_TRUE(secret.at("advanced").is_null());
    EXPECT_EQ(Deciding(secret).at("exclude"), true);

    EXPECT_EQ(page.at("decision"), "NotIncluded");
    EXPECT_EQ(Deciding(page).at("source"), "autoExclude");
    EXPECT_EQ(Deciding(page).at("kind"), "exclude");
    EXPECT_EQ(Deciding(page).at("exclude"), false);

    EXPECT_EQ(sea.at("decision"), "Excluded");
    EXPECT_EQ(Deciding(sea).at("mask"), ".tmp");

    EXPECT_EQ(elsewhere.at("decision"), "NotIncluded");
    EXPECT_TRUE(elsewhere.at("deciding").is_null());
    EXPECT_TRUE(elsewhere.at("rules").empty());

    EXPECT_EQ(directory.at("decision"), "NotApplicable");
    EXPECT_EQ(directory.at("ordinary"), "Included");
    EXPECT_EQ(directory.at("advanced"), "NotApplicable");
}

TEST_F(ExplainCommand, EachRuleHasItsKeys)
{
    HostProcess host(Explain({InTree(L"a.txt")}));
    ASSERT_EQ(host.Finish(), 0);
    const Json record = host.Records().at(0);
    ASSERT_EQ(record.at("rules").size(), 1u);
    const Json& rule = record.at("rules").at(0);
    EXPECT_EQ(record.at("deciding"), 0);
    EXPECT_EQ(rule.at("path"), Utf8(tree + L"\\"));
    EXPECT_EQ(rule.at("mask"), "");
    EXPECT_EQ(rule.at("kind"), "include");
    EXPECT_EQ(rule.at("type"), "folder");
    EXPECT_EQ(rule.at("includeSub"), true);
    EXPECT_EQ(rule.at("exclude"), false);
    EXPECT_EQ(rule.at("isregex"), false);
    EXPECT_EQ(rule.at("flags"), 0);
    EXPECT_EQ(rule.at("pluginId"), 7);
    EXPECT_EQ(rule.at("source"), "data");
}

TEST_F(ExplainCommand, PathsOfStandardInputAreAnsweredInTheirOrder)
{
    const std::wstring named = InTree(L"\u65E5\u672C \U0001F600.txt");
    const std::string input =
        "\xEF\xBB\xBF" + Utf8(InTree(L"b.txt")) + "\r\n\n" + Utf8(named) + "\n" + Utf8(InTree(L"last.txt"));
    HostProcess host(Explain({InTree(L"first.txt"), L"-", InTree(L"end.txt")}), input);
    ASSERT_EQ(host.Finish(), 0);
    std::vector<std::string> paths;
    for (const Json& record : host.Records())
        paths.push_back(record.at("path").get<std::string>());
    const std::vector<std::string> asked = {Utf8(InTree(L"first.txt")), Utf8(InTree(L"b.txt")), Utf8(named),
                                            Utf8(InTree(L"last.txt")), Utf8(InTree(L"end.txt"))};
    EXPECT_EQ(paths, asked);
}

TEST_F(ExplainCommand, StandardInputThatIsNoUtf8EndsWithTwoAndNamesTheLine)
{
    HostProcess host(Explain({L"-"}), Utf8(InTree(L"a.txt")) + "\nC:\\caf\xE9.txt\n");
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_EQ(host.Records().size(), 1u);
    EXPECT_NE(OnlyError(host).value("message", "").find("line 2"), std::string::npos);
}

TEST_F(ExplainCommand, AnUnpairedSurrogateIsReplacedInTheAnswer)
{
    HostProcess host(Explain({InTree(std::wstring(L"lone ") + wchar_t(0xD800) + L".txt")}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().at(0).at("path"), Utf8(InTree(L"lone \uFFFD.txt")));
    EXPECT_EQ(host.Records().at(0).at("decision"), "Included");
}

TEST_F(ExplainCommand, OverlongPathsAreNotIncludedAndOddNamesAreAskedAsTheyStand)
{
    const auto ofLength = [&](std::size_t length) { return InTree(std::wstring(length - tree.size() - 1, L'x')); };
    const Arguments paths = {ofLength(259),     ofLength(260),     ofLength(261),
                             InTree(L"dots.."), InTree(L"space "), InTree(L"pair \U0001F600")};
    HostProcess host(Explain(paths));
    EXPECT_EQ(host.Finish(), 0);
    const std::vector<Json> answers = host.Records();
    ASSERT_EQ(answers.size(), paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        EXPECT_EQ(answers[i].at("path"), Utf8(paths[i]));
        EXPECT_EQ(answers[i].at("decision"), paths[i].size() <= 260 ? "Included" : "NotIncluded");
    }
}

TEST_F(ExplainCommand, WithoutJsonTheDecidingRuleIsMarked)
{
    HostProcess host({L"explain", L"--data", Path(L"selection.xml"), InTree(L"private\\secret.txt")});
    EXPECT_EQ(host.Finish(), 0);
    const std::vector<std::string> lines = host.OutputLines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], Utf8(InTree(L"private\\secret.txt")) + ": Excluded");
    EXPECT_TRUE(lines[1].starts_with("  > exclude folder ")) << lines[1];
}

} // namespace

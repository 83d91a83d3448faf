// Selections that are not spelled or written as meant: what the commands hand out and say.
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class SelectionMistakes : public HostTest
{
protected:
    struct End {
        int code = -1;
        std::set<std::string> paths; // of the records of one type
        std::vector<std::string> notes;
        std::vector<Json> records;
    };
    static End Finish(HostProcess& host)
    {
        End end;
        end.code = host.Finish();
        end.records = host.Records();
        for (const Json& record : OfType(end.records, "pending"))
            end.paths.insert(record.at("path").get<std::string>());
        for (const Json& note : OfType(host.Errors(), "note"))
            end.notes.push_back(note.value("path", "") + ": " + note.at("message").get<std::string>());
        return end;
    }
    End Enumerate(const Arguments& more = {}) const
    {
        HostProcess host(Joined({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more));
        return Finish(host);
    }
    // The warnings of the doctor about the selection.
    std::vector<std::string> Warnings(const Arguments& more = {}) const
    {
        HostProcess host(Joined({L"doctor", L"--json", L"--data", Path(L"selection.xml")}, more));
        const int code = host.Finish();
        std::vector<std::string> warnings;
        for (const Json& check : OfType(host.Records(), "check"))
            if (check.at("name") == "selection" && check.at("state") == "warning")
                warnings.push_back(check.value("path", "") + ": " + check.at("text").get<std::string>());
        EXPECT_TRUE(code == 3 || (code == 0 && warnings.empty())) << code;
        return warnings;
    }
    static bool AnyHas(const std::vector<std::string>& texts, const std::string& part)
    {
        return std::any_of(texts.begin(), texts.end(),
                           [&](const std::string& text) { return text.find(part) != std::string::npos; });
    }
    std::string Folder(const std::wstring& path, const std::wstring& more = L"") const
    {
        return Item(L"path=\"" + path + L"\" type=\"1\" includeSub=\"1\" " + more);
    }
    static std::wstring WithSlashes(std::wstring path)
    {
        std::replace(path.begin(), path.end(), L'\\', L'/');
        return path;
    }
    std::string Selection() const { return Utf8(Path(L"selection.xml")); }
    std::set<std::string> Tree(const std::vector<std::wstring>& names) const
    {
        std::set<std::string> paths;
        for (const std::wstring& name : names)
            paths.insert(Utf8(InTree(name)));
        return paths;
    }
};

TEST_F(SelectionMistakes, APathInAnySpellingSelectsWhatItNames)
{
    Write(L"a.txt", "x");
    const std::vector<std::wstring> spellings = {WithSlashes(tree), tree + L"\\..\\tree", tree + L".", tree + L"\\\\",
                                                 L"\\\\?\\" + tree};
    for (const std::wstring& spelling : spellings) {
        WriteSelection(Folder(spelling));
        const End end = Enumerate();
        EXPECT_EQ(end.code, 0) << Utf8(spelling);
        EXPECT_EQ(end.paths, Tree({L"", L"a.txt"})) << Utf8(spelling);
        EXPECT_TRUE(end.notes.empty()) << Utf8(spelling);
    }
}

TEST_F(SelectionMistakes, AWatchOnASpelledPathHandsOutItsChanges)
{
    WriteSelection(Folder(WithSlashes(tree)));
    const auto host = StartWatch({L"--max-events", L"1"});
    Write(L"a.txt", "x");
    EXPECT_EQ(host->WaitForType("pending").value("path", ""), Utf8(InTree(L"a.txt")));
    EXPECT_EQ(host->Finish(), 0);
}

TEST_F(SelectionMistakes, AnExclusionAndAnAdvancedFilterHoldInAnySpelling)
{
    Write(L"a.txt", "x");
    Write(L"out\\b.txt", "x");
    Write(L"c.tmp", "x");
    WriteSelection(TreeItem() + Folder(WithSlashes(InTree(L"out")), L"exclude=\"1\""));
    const std::wstring advanced =
        WriteSelection(L"advanced.xml", Folder(WithSlashes(tree), L"exclude=\"1\" mask=\"*.tmp\""));
    EXPECT_EQ(Enumerate({L"--advanced", advanced}).paths, Tree({L"", L"a.txt"}));
}

TEST_F(SelectionMistakes, AnImpossiblePathIsRefusedByNameAndTheRestIsDone)
{
    Write(L"a.txt", "x");
    WriteSelection(TreeItem() + "\n" + Folder(L"docs"));
    const End end = Enumerate();
    EXPECT_EQ(end.code, 3);
    EXPECT_EQ(end.paths, Tree({L"", L"a.txt"}));
    ASSERT_EQ(end.notes.size(), 1u);
    EXPECT_TRUE(end.notes[0].starts_with(Selection() + ": line 2, item 2: path=\"docs\" is no path of a rule: "));
    EXPECT_TRUE(AnyHas(Warnings(), "line 2, item 2: path=\"docs\""));
}

TEST_F(SelectionMistakes, AMaskThatIsTooLongIsSaidByEveryCommandThatLoadsTheSelection)
{
    Write(L"a.txt", "x");
    const std::wstring mask = L"mask=\"" + std::wstring(5120, L'm') + L"\"";
    WriteSelection(Folder(tree, mask));
    const std::string said = Selection() + ": line 1, item 1: mask has 5120 characters";
    const End end = Enumerate();
    EXPECT_EQ(end.code, 3);
    EXPECT_EQ(end.paths, Tree({L"", L"a.txt"}));
    EXPECT_EQ(end.notes.size(), 1u);
    EXPECT_TRUE(AnyHas(end.notes, said));
    EXPECT_TRUE(AnyHas(Warnings(), said));
    HostProcess explain(Explain({InTree(L"a.txt")}));
    EXPECT_TRUE(AnyHas(Finish(explain).notes, said));
    HostProcess estimate({L"estimate", L"--json", L"--data", Path(L"selection.xml")});
    EXPECT_TRUE(AnyHas(Finish(estimate).notes, said));
    HostProcess watch(Watch({L"--until-quiet", L"0.1"}));
    const End watched = Finish(watch);
    EXPECT_TRUE(AnyHas(watched.notes, said));
    EXPECT_EQ(watched.notes.size(), 1u); // also after the reload when watching starts
    HostProcess exporting(
        {L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--to", Path(L"pending.xml")});
    EXPECT_TRUE(AnyHas(Finish(exporting).notes, said));
    const std::wstring rules = WriteSelection(L"new.xml", Folder(InTree(L"sub"), mask));
    WriteSelection(TreeItem());
    HostProcess adding({L"add", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", rules});
    const End added = Finish(adding);
    EXPECT_EQ(added.code, 3);
    EXPECT_TRUE(AnyHas(added.notes, Utf8(rules) + ": line 1, item 1: mask has 5120 characters"));
}

TEST_F(SelectionMistakes, WhatIsProbablyNotMeantIsDoneAsItStandsAndSaid)
{
    Write(L"a.txt", "x");
    WriteSelection("\n" + Item(L"path=\"" + tree + L"\" type=\"1\" includesub=\"1\"") + "\n" +
                   Folder(InTree(L"Old"), L"exclude=\"yes\"") + Folder(tree, L"mask=\"*.odt\"") +
                   "\n<item/><Item type=\"1\"/>" + Folder(InTree(L"Old"), L"exclude=\"1\""));
    const std::vector<std::string> said = {
        "line 2, item 1: the attribute \"includesub\" is not known and has no effect; is includeSub meant?",
        "line 3, item 2: exclude=\"yes\" is no number and counts as 0; write exclude=\"1\"",
        "line 3, item 3: the ending \"*.odt\" holds a wildcard",
        "line 4, column 1: the element \"item\" is not known and gives no rule; is Item meant?",
        "line 4, item 4: the item has no path and is no rule",
        "line 3, item 2: the rule has no effect: item 5 excludes the same",
    };
    const End end = Enumerate();
    EXPECT_EQ(end.code, 0);
    const std::vector<std::string> warnings = Warnings();
    for (const std::string& text : said) {
        EXPECT_TRUE(AnyHas(end.notes, Selection() + ": " + text)) << text;
        EXPECT_TRUE(AnyHas(warnings, Selection() + ": " + text)) << text;
    }
}

TEST_F(SelectionMistakes, OfVeryManyTheFirstOnesAreSaidAndTheRestIsCounted)
{
    std::string items;
    for (int i = 0; i < 300; ++i)
        items += "<Item path=\"C:\\no such folder\\f\" flags=\"x\"/>";
    WriteSelection(items + TreeItem());
    const End end = Enumerate();
    EXPECT_EQ(end.notes.size(), 21u);
    EXPECT_TRUE(AnyHas(end.notes, "and 280 more like these in the selection; orbwatch doctor lists them"));
    EXPECT_TRUE(AnyHas(Warnings(), "and 200 more like these"));
}

TEST_F(SelectionMistakes, ARuleForASingleFileThatNamesAFolderIsNamed)
{
    Write(L"a.txt", "x");
    WriteSelection(Item(L"path=\"" + tree + L"\""));
    const End end = Enumerate();
    EXPECT_EQ(end.code, 3);
    ASSERT_EQ(OfType(end.records, "skipped").size(), 1u);
    EXPECT_EQ(OfType(end.records, "skipped")[0].at("path"), Utf8(tree));
    EXPECT_TRUE(AnyHas(Warnings(), Utf8(tree) + ": a folder, and its rule is for a single file"));
}

TEST_F(SelectionMistakes, AMalformedFileIsSaidWithLineAndColumn)
{
    folder.WriteBytes(L"selection.xml", "<Data>\n  <Item>\n</Data>");
    HostProcess host({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index});
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_TRUE(OnlyError(host).at("message").get<std::string>().starts_with(
        "cannot be read as a selection: line 3, column 1: End tag 'Data'"));
}

TEST_F(SelectionMistakes, WhatIsSelectedAndNotThereIsNamedWithTheRest)
{
    Write(L"a.txt", "x");
    WriteSelection(TreeItem() + Folder(Path(L"no folder")) + Folder(L"X:\\docs") +
                   Item(L"path=\"" + InTree(L"no file") + L"\""));
    const End end = Enumerate();
    EXPECT_EQ(end.code, 3);
    EXPECT_EQ(end.paths, Tree({L"", L"a.txt"}));
    std::set<std::string> skipped;
    for (const Json& record : OfType(end.records, "skipped")) {
        EXPECT_EQ(record.at("reason"), "missing");
        skipped.insert(record.at("path").get<std::string>());
    }
    EXPECT_EQ(skipped, (std::set<std::string>{Utf8(Path(L"no folder\\")), "x:\\", Utf8(InTree(L"no file"))}));
}

TEST_F(SelectionMistakes, WhatCannotBeReadOrIsTooLongIsNamed)
{
    ASSERT_TRUE(MakeLink(Path(L"circle"), Path(L"circle")));                        // no account can open it
    const std::wstring deep = InTree(std::wstring(240 - InTree(L"").size(), L'd')); // wherever the test's folder is
    const std::wstring file = deep + L"\\" + std::wstring(100, L'f');
    ASSERT_TRUE(CreateDirectoryW(tree.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS);
    ASSERT_TRUE(CreateDirectoryW((L"\\\\?\\" + deep).c_str(), nullptr));
    CloseHandle(CreateFileW((L"\\\\?\\" + file).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    WriteSelection(TreeItem() + Folder(Path(L"circle")));
    const End end = Enumerate();
    EXPECT_EQ(end.code, 3);
    std::map<std::string, std::string> skipped;
    for (const Json& record : OfType(end.records, "skipped"))
        skipped[record.at("path").get<std::string>()] = record.at("reason").get<std::string>();
    EXPECT_EQ(skipped,
              (std::map<std::string, std::string>{{Utf8(Path(L"circle\\")), "unreadable"}, {Utf8(file), "tooLong"}}));
    EXPECT_FALSE(AnyHas(end.notes, "circle")); // the record has told it
    EXPECT_TRUE(DeleteFileW((L"\\\\?\\" + file).c_str()));
    RemoveLink(Path(L"circle"));
}

TEST_F(SelectionMistakes, AFolderUnderARegularExpressionIsExplainedInWords)
{
    std::filesystem::create_directories(InTree(L"sub"));
    const std::wstring advanced = WriteSelection(
        L"advanced.xml", Item(L"path=\"$$ALLPATHS$$\" type=\"1\" exclude=\"1\" isregex=\"1\" mask=\"x$\""));
    HostProcess host(Explain({L"--advanced", advanced, InTree(L"sub"), InTree(L"gone"), InTree(L"")}));
    EXPECT_EQ(host.Finish(), 0);
    const std::vector<Json> explained = OfType(host.Records(), "explain");
    ASSERT_EQ(explained.size(), 3u);
    EXPECT_EQ(explained[0].at("decision"), "NotApplicable");
    EXPECT_TRUE(explained[0].at("meaning").get<std::string>().starts_with("a regular expression judges only files"));
    EXPECT_TRUE(explained[1].at("meaning").get<std::string>().starts_with("it is not there"));
}

TEST_F(SelectionMistakes, APathIsExplainedInTheSystemsForm)
{
    HostProcess host(Explain({tree + L"\\..\\tree\\a.txt"}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(OfType(host.Records(), "explain").at(0).at("decision"), "Included");
}

} // namespace

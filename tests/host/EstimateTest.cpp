// The size of a selection.
#include "tests/host/HostTest.h"

#include <map>

namespace
{

class EstimateRuns : public HostTest
{
protected:
    EstimateRuns()
    {
        Write(L"docs\\a.doc", std::string(1000, 'a'));
        Write(L"docs\\deep\\b.txt", std::string(200, 'b'));
        Write(L"pictures\\c.JPG", std::string(3000, 'c'));
        Write(L"out\\d.txt", std::string(50, 'd'));
        WriteSelection(TreeItem() + Item(L"path=\"" + InTree(L"out") +
                                         L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" "
                                         L"pluginId=\"7\""));
    }
    Arguments Command(const Arguments& more = {}) const
    {
        return Joined({L"estimate", L"--json", L"--data", Path(L"selection.xml")}, more);
    }
    std::vector<Json> Run(const Arguments& more = {}, int code = 0) const
    {
        HostProcess host(Command(more));
        EXPECT_EQ(host.Finish(), code);
        return host.Records();
    }
    struct Sum {
        std::uint64_t files, size;
        bool operator==(const Sum&) const = default;
    };
    static Sum SumOf(const Json& record) { return {record.at("files"), record.at("size")}; }
    static std::vector<Sum> Totals(const std::vector<Json>& records)
    {
        std::vector<Sum> totals;
        for (const Json& record : OfType(records, "total")) {
            EXPECT_EQ(record.at("step"), totals.size());
            totals.push_back(SumOf(record));
        }
        return totals;
    }
    static std::map<std::string, Sum> Rows(const std::vector<Json>& records, const char* type)
    {
        std::map<std::string, Sum> rows;
        for (const Json& record : OfType(records, type))
            rows.emplace(record.at("name").get<std::string>(), SumOf(record));
        return rows;
    }
    Json DataOfReport() const
    {
        const std::string page = folder.ReadBytes(L"report.html");
        const std::string begin = "<script type=\"application/json\" id=\"data\">";
        const std::size_t from = page.find(begin) + begin.size();
        return Json::parse(page.substr(from, page.find("</script>", from) - from));
    }
};

TEST_F(EstimateRuns, TellTheTotalTheFoldersTheKindsOfFileAndWhatIsLeftOut)
{
    const std::vector<Json> records = Run();
    EXPECT_EQ(Totals(records), (std::vector<Sum>{{3, 4200}}));
    const auto folders = Rows(records, "folder");
    EXPECT_EQ(folders.at(Utf8(tree)), (Sum{3, 4200})) << "folders are spelled as on the disk";
    EXPECT_EQ(folders.at(Utf8(InTree(L"docs"))), (Sum{2, 1200}));
    EXPECT_EQ(folders.at(Utf8(InTree(L"docs\\deep"))), (Sum{1, 200}));
    EXPECT_FALSE(folders.contains(Utf8(InTree(L"out"))));
    const auto kinds = Rows(records, "extension");
    EXPECT_EQ(kinds.at(".jpg"), (Sum{1, 3000}));
    EXPECT_EQ(kinds.at(".txt"), (Sum{1, 200}));
    const std::vector<Json> leftOut = OfType(records, "leftOut");
    ASSERT_EQ(leftOut.size(), 1u);
    EXPECT_EQ(SumOf(leftOut[0]), (Sum{1, 50}));
    EXPECT_EQ(leftOut[0].at("rule"), Utf8(L"exclude " + InTree(L"out\\")));
    EXPECT_EQ(SumOf(records.back()), (Sum{3, 4200}));
    EXPECT_EQ(records.back().at("unreadable"), 0);
}

TEST_F(EstimateRuns, CountAfterEachEditInTheOrderOfTheCommandLine)
{
    const std::vector<Json> records = Run({L"--exclude", InTree(L"docs"), InTree(L"pictures"), L"--include",
                                           InTree(L"docs\\deep"), L"--exclude", InTree(L"docs\\deep\\b.txt")});
    EXPECT_EQ(Totals(records), (std::vector<Sum>{{3, 4200}, {1, 3000}, {0, 0}, {1, 200}, {0, 0}}));
    EXPECT_EQ(OfType(records, "total")[1].at("edit"), Utf8(L"exclude " + InTree(L"docs\\")));
    EXPECT_EQ(OfType(records, "total")[4].at("edit"), Utf8(L"exclude " + InTree(L"docs\\deep\\b.txt")));
}

TEST_F(EstimateRuns, IncludeWhatTheSelectionDoesNotHold)
{
    std::filesystem::create_directories(Path(L"elsewhere"));
    folder.WriteBytes(L"elsewhere\\x.tmp", "12345");
    folder.WriteBytes(L"elsewhere\\y.txt", "123");
    EXPECT_EQ(Totals(Run({L"--include", Path(L"elsewhere")})), (std::vector<Sum>{{3, 4200}, {5, 4208}}));
    EXPECT_EQ(Totals(Run({L"--mask", L".tmp", L"--include", Path(L"elsewhere")})),
              (std::vector<Sum>{{3, 4200}, {4, 4203}}));
}

TEST_F(EstimateRuns, IncludeAFolderOfWhichTheSelectionHoldsAPart)
{
    WriteSelection(Item(L"path=\"" + InTree(L"docs\\deep") + L"\" type=\"1\" includeSub=\"1\" pluginId=\"7\""));
    EXPECT_EQ(Totals(Run({L"--include", InTree(L"docs"), InTree(L"pictures")})),
              (std::vector<Sum>{{1, 200}, {2, 1200}, {3, 4200}}));
}

TEST_F(EstimateRuns, OfPickedProfilesBeginWithNothing)
{
    WriteSelection(TreeItem() + Item(L"path=\"" + InTree(L"docs") + L"\" type=\"1\" includeSub=\"1\" pluginId=\"8\"") +
                   Item(L"path=\"" + InTree(L"out") + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" pluginId=\"7\""));
    EXPECT_EQ(Totals(Run({L"--profile", L"7", L"8"})), (std::vector<Sum>{{0, 0}, {3, 4200}, {3, 4200}}));
}

TEST_F(EstimateRuns, CountASelectedLinkToItselfAsUnreadable)
{
    const std::wstring link = InTree(L"circle");
    ASSERT_TRUE(MakeLink(link, link));
    WriteSelection(TreeItem() + Item(L"path=\"" + link + L"\" type=\"1\" includeSub=\"1\" pluginId=\"7\""));
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_EQ(host.Records().back().at("unreadable"), 1);
    EXPECT_EQ(host.Records().back().at("exit"), 3);
    EXPECT_TRUE(RemoveLink(link));
}

TEST_F(EstimateRuns, OfADriveThatIsNotThereCountTheOthers)
{
    WriteSelection(TreeItem() + Item(L"path=\"Y:\\away\" type=\"1\" includeSub=\"1\" pluginId=\"7\""));
    EXPECT_EQ(Totals(Run({}, 3)), (std::vector<Sum>{{4, 4250}}));
}

TEST_F(EstimateRuns, WithoutTheirInputAreWrongUsage)
{
    HostProcess missing({L"estimate", L"--json", L"--data", Path(L"missing.xml")});
    EXPECT_EQ(missing.Finish(), 2);
    EXPECT_EQ(OnlyError(missing).value("path", ""), Utf8(Path(L"missing.xml")));
    HostProcess noStatistics(Command({L"--stats", Path(L"missing.xml")}));
    EXPECT_EQ(noStatistics.Finish(), 2);
    for (const char* bytes : {"<OrbExtensions><Extension", "<Other/>", "no xml"}) {
        folder.WriteBytes(L"stats.xml", bytes);
        HostProcess bad(Command({L"--stats", Path(L"stats.xml")}));
        EXPECT_EQ(bad.Finish(), 2) << bytes;
        OnlyError(bad);
    }
    folder.WriteBytes(L"stats.xml",
                      "<OrbExtensions defaultRatio=\"x\"><Extension mask=\".a\" ratio=\"y\"/></OrbExtensions>");
    EXPECT_EQ(Totals(Run({L"--stats", Path(L"stats.xml")})), (std::vector<Sum>{{3, 4200}}));
}

TEST_F(EstimateRuns, WriteTheirReportAsOnePageWithTheSpellingOfTheDisk)
{
    const std::vector<Json> records = Run({L"--report", Path(L"report.html")});
    ASSERT_EQ(OfType(records, "created").size(), 1u);
    const std::string page = folder.ReadBytes(L"report.html");
    const Json data = DataOfReport();
    EXPECT_EQ(data.at("total").at("size"), 4200);
    EXPECT_EQ(data.at("leftOut").at(0).at("size"), 50);
    EXPECT_EQ(data.at("extensions").size(), 3u);
    const Json* node = &data.at("tree");
    EXPECT_EQ(node->at("s"), 4200);
    while (node->at("c").size() == 1)
        node = &node->at("c").at(0);
    std::map<std::string, int> parts;
    for (const Json& part : node->at("c"))
        parts[part.at("n")] = part.at("s");
    EXPECT_EQ(parts, (std::map<std::string, int>{{"docs", 1200}, {"pictures", 3000}}));
    EXPECT_EQ(page.find("http://"), std::string::npos);
    EXPECT_EQ(page.find("https://"), std::string::npos);
}

TEST_F(EstimateRuns, TellEditsApartFromRulesInTheirReport)
{
    Run({L"--exclude", InTree(L"pictures"), L"--report", Path(L"report.html")});
    const Json data = DataOfReport();
    EXPECT_EQ(data.at("edits").at(0).at("edit"), "the selection as it is");
    EXPECT_EQ(data.at("edits").at(1).at("edit"), Utf8(L"without " + InTree(L"pictures\\")));
    std::map<std::string, bool> leftOut;
    for (const Json& row : data.at("leftOut"))
        leftOut[row.at("rule")] = row.at("edit");
    EXPECT_EQ(leftOut, (std::map<std::string, bool>{{Utf8(L"exclude " + InTree(L"out\\")), false},
                                                    {Utf8(L"exclude " + InTree(L"pictures\\")), true}}));
}

TEST_F(EstimateRuns, ColourTheFoldersOfTheirReportByKind)
{
    Run({L"--report", Path(L"report.html")});
    const Json data = DataOfReport();
    const Json* node = &data.at("tree");
    while (node->at("c").size() == 1)
        node = &node->at("c").at(0);
    std::map<std::string, std::string> kinds;
    for (const Json& part : node->at("c"))
        kinds[part.at("n")] = part.at("k");
    EXPECT_EQ(kinds, (std::map<std::string, std::string>{{"docs", "documents"}, {"pictures", "pictures"}}));
    EXPECT_EQ(data.at("extensions").at(0).at("kind"), "pictures");
}

TEST_F(EstimateRuns, SayThatAdvancedFiltersAreNotAsked)
{
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 0);
    const std::vector<Json> notes = OfType(host.Errors(), "note");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].at("message"), "advanced filters are not asked; they may leave out more");
}

TEST_F(EstimateRuns, FailWhenTheirReportCannotBeWritten)
{
    const std::wstring report = Path(L"report.html");
    HostProcess earlier(Command({L"--report", report}));
    ASSERT_EQ(earlier.Finish(), 0);
    ASSERT_TRUE(SetFileAttributesW(report.c_str(), FILE_ATTRIBUTE_READONLY));
    HostProcess host(Command({L"--report", report}));
    EXPECT_EQ(host.Finish(), 1);
    EXPECT_EQ(OnlyError(host).value("path", ""), Utf8(report));
    SetFileAttributesW(report.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(EstimateRuns, EndWhenTheyAreInterrupted)
{
    HostProcess host(Command(), HostProcess::Begin::Interrupted);
    EXPECT_EQ(host.Finish(), 130);
}

TEST_F(EstimateRuns, EndBetweenTheirEditsWhenTheyAreInterrupted)
{
    // So many that they cannot all be done when the first total is seen.
    Arguments edits{L"--profile"};
    edits.insert(edits.end(), 4000, L"7");
    HostProcess host(Command(edits));
    ASSERT_FALSE(host.WaitForType("total").empty());
    host.Interrupt();
    EXPECT_EQ(host.Finish(), 130);
    EXPECT_TRUE(OfType(host.Records(), "summary").empty());
}

} // namespace

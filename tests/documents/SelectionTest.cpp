// The pages of the selection and of the advanced filters.
#include "support/Utf8Text.h"
#include "tests/documents/Page.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "xml/Utf8.h"

#include <map>

namespace
{

class SelectionPage : public WatcherFixture
{
protected:
    static CString File(const char* example)
    {
        return CString(std::wstring_view(Pages::ExampleFile(example).wstring()));
    }
    static InclusionType Decision(const std::string& word)
    {
        static const std::map<std::string, InclusionType> words = {
            {"included", Included}, {"not included", NotIncluded}, {"excluded", Excluded}};
        return words.at(word);
    }
    // Path and decision, as the page's table has them.
    static std::vector<std::pair<std::wstring, InclusionType>> Decisions(const char* page)
    {
        std::vector<std::pair<std::wstring, InclusionType>> decisions;
        for (const Pages::Row& row : Pages::Table(page, {"Path", "Decision"}))
            decisions.emplace_back(FromUtf8(row.at(0)), Decision(row.at(1)));
        return decisions;
    }

    OrbFilter filter;
};

TEST_F(SelectionPage, TheExamplesDecideAsThePageSays)
{
    ASSERT_TRUE(filter.LoadXmlFilters(File("selection.xml"), File("automatic-exclusions.xml"), nullptr));
    const auto decisions = Decisions("selection.md");
    ASSERT_GE(decisions.size(), 10u);
    for (const auto& [path, decision] : decisions)
        EXPECT_EQ(filter.CheckForInclusion(path.c_str(), nullptr, false, false), decision) << Narrow(path);
}

TEST_F(SelectionPage, TheSpellingsOfAPathHaveTheFormThatThePageSays)
{
    const std::vector<Pages::Row> rows = Pages::Table("selection.md", {"Written", "Form"});
    ASSERT_GE(rows.size(), 8u);
    for (const Pages::Row& row : rows)
        EXPECT_EQ(Narrow(OrbFilter::SystemForm(FromUtf8(row.at(0)).c_str()).View()), row.at(1));
}

TEST_F(SelectionPage, TheExamplesHaveNoFindings)
{
    ASSERT_TRUE(
        filter.LoadXmlFilters(File("selection.xml"), File("automatic-exclusions.xml"), File("advanced-filters.xml")));
    EXPECT_TRUE(filter.Findings().Kept().empty());
}

TEST_F(SelectionPage, TheExampleOfAdvancedFiltersDecidesAsThePageSays)
{
    ASSERT_TRUE(filter.LoadXmlFilterAdvanced(File("advanced-filters.xml")));
    filter.SortAdvancedFilters();
    const auto decisions = Decisions("advanced-filters.md");
    ASSERT_GE(decisions.size(), 5u);
    for (const auto& [path, decision] : decisions)
        EXPECT_EQ(filter.CheckForAdvancedInclusion(path.c_str()), decision) << Narrow(path);
}

TEST_F(SelectionPage, TheTextForTheProductIsKeptAndTheJobIsHandedOn)
{
    ASSERT_TRUE(filter.LoadXmlFilters(File("selection.xml"), nullptr, nullptr));
    EXPECT_STREQ(filter.GlobalExclude(), L"*.lock");
    FilterList matched;
    filter.CheckForInclusion(L"C:\\Users\\Anna\\Documents\\Scratch\\keep.txt", &matched, true, false);
    ASSERT_FALSE(matched.empty());
    EXPECT_EQ(matched[0]->jobid, 7);
}

TEST_F(SelectionPage, ThePluginOfTheExampleGetsIntoTheIndex)
{
    Index();
    watcher.SetDataXmlPath(File("selection.xml"));
    watcher.SetIndexDB(folder.Path(L"index.db"));
    ASSERT_TRUE(watcher.FillPluginTable());
    const std::vector<ProfileDatum> plugins = Index().GetPlugins();
    ASSERT_EQ(plugins.size(), 1u);
    EXPECT_EQ(plugins[0].id, 1);
    EXPECT_STREQ(plugins[0].name, L"Documents");
    EXPECT_STREQ(plugins[0].virtualPath, L"\\Documents");
    EXPECT_STREQ(plugins[0].guiName, L"My documents");
    EXPECT_STREQ(plugins[0].rootPath, L"C:\\Users\\Anna\\Documents");
}

TEST_F(SelectionPage, EveryAttributeIsReadAndTheFlagsHaveTheirMeaning)
{
    const std::map<std::string, std::uint32_t> flags = {
        {"0x400", RuleFlags::Internal},           {"0x1000", RuleFlags::Protected},
        {"0x4000", RuleFlags::EvenWhenHidden},    {"0x40000, 0x80000", RuleFlags::DisasterRecovery},
        {"0x4000000", RuleFlags::DedupCandidate}, {"0x10000000", RuleFlags::AutoExclude}};
    std::set<std::string> written;
    for (const Pages::Row& row : Pages::Table("selection.md", {"Flag", "Meaning"})) {
        written.insert(row[0]);
        if (const auto flag = flags.find(row[0]); flag != flags.end()) {
            std::uint32_t bits = 0;
            for (std::size_t at = row[0].find("0x"); at != std::string::npos; at = row[0].find("0x", at + 1))
                bits |= static_cast<std::uint32_t>(std::stoul(row[0].substr(at), nullptr, 16));
            EXPECT_EQ(bits, flag->second) << row[0];
        }
    }
    for (const auto& [flag, bits] : flags)
        EXPECT_TRUE(written.contains(flag)) << flag;
}

TEST_F(SelectionPage, LimitsAreThoseOfThePage)
{
    const auto load = [&](const std::string& attributes) {
        FilterList rules;
        EXPECT_TRUE(filter.LoadXmlFilter(WriteRules(L"d.xml", "<Item path=\"C:\\a\" " + attributes + "/>"), false,
                                         &rules, false, false));
        return rules;
    };
    EXPECT_EQ(load("mask=\"" + std::string(5119, 'm') + "\"")[0]->mask.GetLength(), 5119);
    EXPECT_TRUE(load("mask=\"" + std::string(5120, 'm') + "\"")[0]->mask.IsEmpty());
    EXPECT_EQ(load("PRMask=\"" + std::string(5119, 'm') + "\"").size(), 2u);
    EXPECT_EQ(load("PRMask=\"" + std::string(5120, 'm') + "\"").size(), 1u);
    EXPECT_EQ(load("additionalInfo=\"" + std::string(278, 'i') + "\"")[0]->additionalInfo.GetLength(), 278);
    EXPECT_TRUE(load("additionalInfo=\"" + std::string(279, 'i') + "\"")[0]->additionalInfo.IsEmpty());
    const std::string page = Pages::Read("selection.md");
    for (const char* limit : {"at most 5,119 units", "at most 278 units"})
        EXPECT_NE(page.find(limit), std::string::npos) << limit;
}

} // namespace

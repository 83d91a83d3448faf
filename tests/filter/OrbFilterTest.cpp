// The rule set itself.
#include "orbwatcher4/OrbFilter.h"
#include "tests/orbwatcher4/WatcherFixture.h"

// Reaches the junction cache as the walk does.
class JunctionAccess
{
public:
    static bool AddScanned(OrbFilter& filter, CString& folder) { return filter.AddScannedDirectory(folder); }
    static void Remember(OrbFilter& filter, const wchar_t* junction, const wchar_t* destination)
    {
        filter.RememberJunction(junction, destination);
    }
};

namespace
{

FilterPtr Rule(const wchar_t* path, WatcherEnum::IncEx kind = WatcherEnum::Include, std::uint32_t flags = 0)
{
    auto rule = std::make_shared<Filter>();
    rule->path = path;
    rule->incEx = kind;
    rule->exclude = kind == WatcherEnum::Exclude;
    rule->type = 1;
    rule->includeSub = true;
    rule->flags = flags;
    return rule;
}

TEST(Filter, ANewRuleIsAnExclusionThatNobodyHasWritten)
{
    const Filter rule;
    EXPECT_EQ(rule.incEx, WatcherEnum::Exclude);
    EXPECT_FALSE(rule.exclude);
    EXPECT_EQ(rule.type, 0);
    EXPECT_FALSE(rule.volumeFound);
}

TEST(OrbFilter, StripToRootCutsAndLowerCases)
{
    EXPECT_STREQ(OrbFilter::StripToRoot(L"C:\\Data\\x.doc"), L"c:\\");
    EXPECT_STREQ(OrbFilter::StripToRoot(L"\\\\Server\\Share\\x"), L"\\\\server\\share");
    EXPECT_STREQ(OrbFilter::StripToRoot((L"D:\\" + std::wstring(1000, L'x')).c_str()), L"d:\\");
}

TEST(OrbFilter, AWholeDriveIncludeIsCopiedOntoEachIncludeRootBeforeItself)
{
    OrbFilter filter;
    filter.SetIncludeRoots({L"C:\\One\\", L"D:\\Two\\", L"c:\\Three\\"});
    filter.AddSingleFilter(Rule(L"c:\\"), false);
    const FilterList rules = filter.RulesOf(L"C:\\");
    ASSERT_EQ(rules.size(), 3u);
    EXPECT_STREQ(rules[0]->path, L"C:\\One\\");
    EXPECT_STREQ(rules[1]->path, L"c:\\Three\\");
    EXPECT_STREQ(rules[2]->path, L"c:\\");
}

TEST(OrbFilter, ExclusionsAndMarkedRulesAreNotCopiedOntoIncludeRoots)
{
    OrbFilter filter;
    filter.SetIncludeRoots({L"C:\\One\\"});
    filter.AddSingleFilter(Rule(L"C:\\", WatcherEnum::Exclude), false);
    filter.AddSingleFilter(Rule(L"C:\\", WatcherEnum::Include, 0x04000000), false);
    filter.AddSingleFilter(Rule(L"C:\\Sub\\"), false);
    EXPECT_EQ(filter.RulesOf(L"C:\\").size(), 3u);
}

TEST(OrbFilter, ACopyHasMapsOfItsOwnThatShareTheirRules)
{
    OrbFilter filter;
    const FilterPtr rule = Rule(L"C:\\a\\");
    filter.AddSingleFilter(rule, false);
    OrbFilter copy(filter);
    EXPECT_EQ(copy.RulesOf(L"C:\\"), FilterList{rule});
    copy.ClearAll();
    EXPECT_TRUE(filter.HasRules());
    CString path(L"C:\\x");
    copy.UpdateJunctionDestination(path); // the copied lock is free
    copy = *&copy;
    filter = filter;
    EXPECT_EQ(filter.RulesOf(L"C:\\"), FilterList{rule});
}

TEST(OrbFilter, ClearAllKeepsFileNamesRootsAndCaches)
{
    OrbFilter filter;
    filter.SetIncludeRoots({L"C:\\One\\"});
    JunctionAccess::Remember(filter, L"C:\\j", L"D:\\t");
    filter.LoadXmlFilters(L"", nullptr, nullptr);
    filter.AddSingleFilter(Rule(L"C:\\a\\"), false);
    filter.ClearAll();
    EXPECT_FALSE(filter.HasRules());
    CString path(L"c:\\J\\x");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"D:\\t\\x");
    filter.AddSingleFilter(Rule(L"C:\\"), false);
    EXPECT_EQ(filter.RulesOf(L"C:\\").size(), 2u);
}

TEST(OrbFilter, ProfileIdsChangeInTheDriveRulesOnly)
{
    OrbFilter filter;
    const FilterPtr rule = Rule(L"C:\\a\\"), other = Rule(L"C:\\b\\"), advanced = Rule(L"C:\\c\\");
    rule->pluginId = advanced->pluginId = 4;
    other->pluginId = 5;
    filter.AddSingleFilter(rule, false);
    filter.AddSingleFilter(other, false);
    filter.AddAdvancedFilter(advanced, false);
    EXPECT_TRUE(filter.UpdateFilterProfileIDs(4, 9));
    EXPECT_EQ(rule->pluginId, 9);
    EXPECT_EQ(other->pluginId, 5);
    EXPECT_EQ(advanced->pluginId, 4);
}

TEST(OrbFilter, RemovingARuleTakesThatObjectOrEveryEqualOne)
{
    OrbFilter filter;
    const FilterPtr one = Rule(L"C:\\a\\"), twin = Rule(L"c:\\A\\"), other = Rule(L"C:\\a\\", WatcherEnum::Exclude);
    for (const FilterPtr& rule : {one, twin, other})
        filter.AddSingleFilter(rule, false);
    EXPECT_TRUE(filter.RemoveSingleFilter(one, false, false));
    EXPECT_FALSE(filter.RemoveSingleFilter(one, false, false));
    EXPECT_EQ(filter.RulesOf(L"C:\\"), (FilterList{twin, other}));
    EXPECT_TRUE(filter.RemoveSingleFilter(one, true, false));
    EXPECT_EQ(filter.RulesOf(L"C:\\"), FilterList{other});
}

TEST(OrbFilter, RemovingARuleFromTheDataFileLeavesTheRestAsItIs)
{
    const TempFolder folder;
    folder.WriteBytes(L"d.xml", "<Data><!-- kept --><Item path=\"C:\\a\" type=\"1\" pluginId=\"2\"/>"
                                "<Item path=\"C:\\b\" type=\"1\"/></Data>");
    OrbFilter filter;
    ASSERT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
    const FilterPtr rule = Rule(L"c:\\A\\");
    rule->pluginId = 2;
    EXPECT_TRUE(filter.RemoveSingleFilter(rule, true, true));
    EXPECT_EQ(folder.ReadBytes(L"d.xml"), "<Data><!-- kept --><Item path=\"C:\\b\" type=\"1\"/></Data>");
    EXPECT_EQ(filter.RulesOf(L"C:\\").size(), 1u);
}

TEST(OrbFilter, ARuleConflictsWithAHeldOneOfTheOppositeKindAlone)
{
    OrbFilter filter;
    filter.AddSingleFilter(Rule(L"C:\\a\\"), false);
    EXPECT_FALSE(filter.CheckRuleNoConflict(Rule(L"c:\\A\\", WatcherEnum::Exclude)));
    EXPECT_TRUE(filter.CheckRuleNoConflict(Rule(L"C:\\a\\")));
    const FilterPtr masked = Rule(L"C:\\a\\", WatcherEnum::Exclude);
    masked->mask = L".tmp";
    EXPECT_TRUE(filter.CheckRuleNoConflict(masked));
    const FilterPtr profile = Rule(L"C:\\a\\", WatcherEnum::Exclude);
    profile->pluginId = 3;
    EXPECT_TRUE(filter.CheckRuleNoConflict(profile));
}

TEST(OrbFilter, MovedRulesAreNewOnes)
{
    OrbFilter filter;
    const FilterPtr rule = Rule(L"D:\\Data\\");
    filter.AddSingleFilter(rule, false);
    EXPECT_TRUE(filter.MoveDriveRules(L"D:\\", L"e:\\"));
    EXPECT_FALSE(filter.MoveDriveRules(L"D:\\", L"e:\\"));
    EXPECT_STREQ(rule->path, L"D:\\Data\\");
    ASSERT_EQ(filter.RulesOf(L"E:\\").size(), 1u);
    EXPECT_STREQ(filter.RulesOf(L"E:\\")[0]->path, L"e:\\data\\");
    EXPECT_TRUE(filter.RulesOf(L"D:\\").empty());
}

TEST(Junctions, OnlyTheFirstMatchingKeyIsAppliedInKeyOrder)
{
    OrbFilter filter;
    JunctionAccess::Remember(filter, L"C:\\Link\\Deeper", L"E:\\deep");
    JunctionAccess::Remember(filter, L"C:\\Link", L"D:\\target");
    CString path(L"c:\\LINK\\Deeper\\f.txt");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"D:\\target\\Deeper\\f.txt");
    CString other(L"C:\\Linked\\f.txt");
    filter.UpdateJunctionDestination(other);
    EXPECT_STREQ(other, L"C:\\Linked\\f.txt");
}

TEST(Junctions, AFolderIsNewOnceWhateverItsCaseUntilTheSetIsEmptied)
{
    OrbFilter filter;
    CString folder(L"C:\\Docs"), again(L"c:\\DOCS\\");
    EXPECT_TRUE(JunctionAccess::AddScanned(filter, folder));
    EXPECT_STREQ(folder, L"C:\\Docs\\");
    EXPECT_FALSE(JunctionAccess::AddScanned(filter, again));
    JunctionAccess::Remember(filter, L"C:\\j", L"D:\\t");
    filter.ClearJunctionCache();
    EXPECT_TRUE(JunctionAccess::AddScanned(filter, folder));
    CString path(L"C:\\j\\x");
    filter.UpdateJunctionDestination(path); // the junctions stay known
    EXPECT_STREQ(path, L"D:\\t\\x");
}

} // namespace

// The rule set itself.
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "tests/filter/FolderRule.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <shlwapi.h>

#include <algorithm>
#include <random>

namespace
{

TEST(Filter, ANewRuleIsAnExclusionThatNobodyHasWritten)
{
    const Filter rule;
    EXPECT_EQ(rule.incEx, WatcherEnum::Exclude);
    EXPECT_FALSE(rule.exclude);
    EXPECT_EQ(rule.type, 0);
    EXPECT_FALSE(rule.volumeFound);
}

bool g_onlyZerosBehindTheText;

BOOL WINAPI LookBehindTheText(LPWSTR path)
{
    g_onlyZerosBehindTheText =
        std::all_of(path + std::wcslen(path), path + MAX_PATH + 1, [](wchar_t unit) { return unit == 0; });
    return FALSE;
}

// Behind a colon Wine's shell looks further than the text, and cuts what it finds there.
TEST(OrbFilter, StripToRootShowsTheShellNothingBehindTheText)
{
    const ImportedCall shell(nullptr, "PathStripToRootW", LookBehindTheText);
    OrbFilter::StripToRoot(L"ab:");
    EXPECT_TRUE(g_onlyZerosBehindTheText);
}

// Most paths are cut without the shell.
TEST(OrbFilter, StripToRootAnswersAsTheShellDoes)
{
    std::mt19937 random(7);
    constexpr std::wstring_view units = L"C:\\\\.a:/x\u00C4z";
    for (int i = 0; i < 20'000; ++i) {
        std::wstring path = random() % 2 ? L"C:\\" : L"";
        for (auto length = random() % 12; length > 0; --length)
            path += units[random() % units.size()];
        wchar_t root[MAX_PATH] = {};
        std::copy(path.begin(), path.end(), root);
        PathStripToRootW(root);
        ASSERT_EQ(OrbFilter::StripToRoot(path.c_str()), CString(root).MakeLower()) << Narrow(path);
    }
}

TEST(OrbFilter, StripToRootCutsAndLowerCases)
{
    EXPECT_STREQ(OrbFilter::StripToRoot(L"C:\\Data\\x.doc"), L"c:\\");
    EXPECT_STREQ(OrbFilter::StripToRoot(L"\\\\Server\\Share\\x"), L"\\\\server\\share");
    EXPECT_STREQ(OrbFilter::StripToRoot(L"some\\relative"), L"");
    EXPECT_STREQ(OrbFilter::StripToRoot((L"D:\\" + std::wstring(1000, L'x')).c_str()), L"d:\\");
}

TEST(OrbFilter, AWholeDriveIncludeIsCopiedOntoEachIncludeRootBeforeItself)
{
    OrbFilter filter;
    filter.SetIncludeRoots({L"C:\\One\\", L"D:\\Two\\", L"c:\\Three\\"});
    filter.AddSingleFilter(FolderRule(L"c:\\"), false);
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
    filter.AddSingleFilter(FolderRule(L"C:\\", WatcherEnum::Exclude), false);
    filter.AddSingleFilter(FolderRule(L"C:\\", WatcherEnum::Include, 0x04000000), false);
    filter.AddSingleFilter(FolderRule(L"C:\\Sub\\"), false);
    EXPECT_EQ(filter.RulesOf(L"C:\\").size(), 3u);
}

TEST(OrbFilter, ACopyHasMapsOfItsOwnThatShareTheirRules)
{
    OrbFilter filter;
    const FilterPtr rule = FolderRule(L"C:\\a\\");
    filter.AddSingleFilter(rule, false);
    OrbFilter copy(filter);
    EXPECT_EQ(copy.RulesOf(L"C:\\"), FilterList{rule});
    copy.ClearAll();
    EXPECT_TRUE(filter.HasRules());
    CString path(L"C:\\x");
    copy.UpdateJunctionDestination(path); // the copied lock is free
    copy = *&copy;
    const OrbFilter& itself = filter;
    filter = itself;
    EXPECT_EQ(filter.RulesOf(L"C:\\"), FilterList{rule});
}

// A filter with something in every member that can be seen.
void Fill(OrbFilter& filter, const TempFolder& folder)
{
    folder.WriteBytes(L"d.xml", "<Data><GlobalExclude>g</GlobalExclude>"
                                "<Item path=\"\\\\server\\share\\a\"/></Data>");
    filter.SetIncludeRoots({L"C:\\One\\"});
    FilterAccess::MemoryOf(filter).Remember(L"C:\\j", L"D:\\t");
    CString scanned(L"C:\\scanned");
    EXPECT_TRUE(FilterAccess::MemoryOf(filter).AddScanned(scanned));
    EXPECT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
}

void ExpectEverythingButRules(OrbFilter& filter, const TempFolder& folder)
{
    EXPECT_EQ(filter.DataFile(), folder.Path(L"d.xml"));
    EXPECT_EQ(filter.GlobalExclude(), L"g");
    EXPECT_TRUE(filter.NetworkInclude());
    CString path(L"c:\\J\\x"), scanned(L"c:\\SCANNED\\");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"D:\\t\\x");
    EXPECT_FALSE(FilterAccess::MemoryOf(filter).AddScanned(scanned));
    filter.AddSingleFilter(FolderRule(L"C:\\"), false);
    EXPECT_EQ(filter.RulesOf(L"C:\\").size(), 2u); // the include root has its copy
}

TEST(OrbFilter, ACopyHasEveryMember)
{
    const TempFolder folder;
    OrbFilter filter;
    Fill(filter, folder);
    OrbFilter copy(filter);
    EXPECT_EQ(copy.RulesOf(L"\\\\server\\share").size(), 1u);
    ExpectEverythingButRules(copy, folder);
}

TEST(OrbFilter, AssigningAFilterToItselfChangesNothing)
{
    const TempFolder folder;
    OrbFilter filter;
    Fill(filter, folder);
    filter = *&filter;
    EXPECT_EQ(filter.RulesOf(L"\\\\server\\share").size(), 1u);
    ExpectEverythingButRules(filter, folder);
}

TEST(OrbFilter, SharesThatDifferInTheCaseOfAnyAlphabetAreOneRoot)
{
    OrbFilter filter;
    filter.AddSingleFilter(FolderRule(L"\\\\srv\\\u00C4hre\\docs\\"), false);
    filter.AddSingleFilter(FolderRule(L"\\\\SRV\\\u00E4HRE\\more\\"), true);
    EXPECT_EQ(filter.GenerateDriveList().size(), 1u);
    EXPECT_EQ(filter.CheckForInclusion(L"\\\\srv\\\u00E4hre\\docs\\x", nullptr, false, false), Included);
}

TEST(OrbFilter, SaysWhetherSomethingBelowAFolderMayBeSelected)
{
    OrbFilter filter;
    filter.AddSingleFilter(FolderRule(L"C:\\docs\\"), true);
    EXPECT_TRUE(filter.MaySelectBelow(L"C:\\docs\\new"));
    EXPECT_TRUE(filter.MaySelectBelow(L"c:\\DOCS\\new\\"));
    EXPECT_TRUE(filter.MaySelectBelow(L"C:"));
    EXPECT_FALSE(filter.MaySelectBelow(L"C:\\doc"));
    EXPECT_FALSE(filter.MaySelectBelow(L"D:\\docs\\"));
    filter.AddAdvancedFilter(FolderRule(L"C:\\docs\\tmp\\", WatcherEnum::Exclude), true);
    EXPECT_FALSE(filter.MaySelectBelow(L"C:\\docs\\tmp"));
}

TEST(OrbFilter, TheDriveListTakesVolumeAndPresenceFromTheFirstRule)
{
    OrbFilter filter;
    const FilterPtr shallow = FolderRule(L"C:\\a\\"), deep = FolderRule(L"C:\\a\\b\\c\\");
    shallow->vid = 1;
    deep->vid = 2;
    deep->volumeFound = true;
    filter.AddSingleFilter(shallow, true);
    filter.AddSingleFilter(deep, true);
    const DriveList drives = filter.GenerateDriveList();
    EXPECT_EQ(drives.at(L"c:\\").serial, 2);
    EXPECT_TRUE(drives.at(L"c:\\").volumeMatches);
}

TEST(OrbFilter, AllRulesComeDriveByDriveAndEachDriveInItsOrder)
{
    OrbFilter filter;
    EXPECT_TRUE(filter.AllRules().empty());
    const FilterPtr d = FolderRule(L"D:\\a\\"), c = FolderRule(L"C:\\a\\"), deep = FolderRule(L"C:\\a\\b\\");
    for (const FilterPtr& rule : {d, c, deep})
        filter.AddSingleFilter(rule, true);
    EXPECT_EQ(filter.AllRules(), (FilterList{deep, c, d}));
}

TEST(OrbFilter, ClearAllKeepsFileNamesRootsAndCaches)
{
    const TempFolder folder;
    OrbFilter filter;
    Fill(filter, folder);
    filter.ClearAll();
    EXPECT_FALSE(filter.HasRules());
    ExpectEverythingButRules(filter, folder);
}

TEST(OrbFilter, ProfileIdsChangeInTheDriveRulesOnly)
{
    OrbFilter filter;
    const FilterPtr rule = FolderRule(L"C:\\a\\"), other = FolderRule(L"C:\\b\\"), advanced = FolderRule(L"C:\\c\\");
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

TEST(Junctions, OnlyTheFirstMatchingKeyIsAppliedInKeyOrder)
{
    OrbFilter filter;
    FilterAccess::MemoryOf(filter).Remember(L"C:\\Link\\Deeper", L"E:\\deep");
    FilterAccess::MemoryOf(filter).Remember(L"C:\\Link", L"D:\\target");
    CString path(L"c:\\LINK\\Deeper\\f.txt");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"D:\\target\\Deeper\\f.txt");
    CString other(L"C:\\Linked\\f.txt");
    filter.UpdateJunctionDestination(other);
    EXPECT_STREQ(other, L"C:\\Linked\\f.txt");
}

TEST(Junctions, KeysAreOrderedInLowerCase)
{
    OrbFilter filter;
    FilterAccess::MemoryOf(filter).Remember(L"C:\\B\\X", L"E:\\second");
    FilterAccess::MemoryOf(filter).Remember(L"c:\\b", L"D:\\first");
    CString path(L"C:\\b\\x\\f.txt");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"D:\\first\\x\\f.txt");
}

TEST(Junctions, AFolderIsNewOnceWhateverItsCaseUntilTheSetIsEmptied)
{
    OrbFilter filter;
    CString folder(L"C:\\Docs"), again(L"c:\\DOCS\\");
    EXPECT_TRUE(FilterAccess::MemoryOf(filter).AddScanned(folder));
    EXPECT_STREQ(folder, L"C:\\Docs\\");
    EXPECT_FALSE(FilterAccess::MemoryOf(filter).AddScanned(again));
    FilterAccess::MemoryOf(filter).Remember(L"C:\\j", L"D:\\t");
    filter.ClearJunctionCache();
    EXPECT_TRUE(FilterAccess::MemoryOf(filter).AddScanned(folder));
    CString path(L"C:\\j\\x");
    filter.UpdateJunctionDestination(path); // the junctions stay known
    EXPECT_STREQ(path, L"D:\\t\\x");
}

} // namespace

// Checks and lists of OrbFilter, with the machine's own answers.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/settings/OrbSettings.h"
#include "support/SystemPath.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class Checks : public WatcherFixture
{
protected:
    OrbFilter filter;
    FilterPtr Add(const wchar_t* path, WatcherEnum::IncEx kind, const wchar_t* mask = L"", int type = 1)
    {
        auto rule = std::make_shared<Filter>();
        rule->path = path;
        rule->incEx = kind;
        rule->exclude = kind == WatcherEnum::Exclude;
        rule->type = type;
        rule->includeSub = true;
        rule->mask = mask;
        filter.AddSingleFilter(rule, true);
        return rule;
    }
    ~Checks() override
    {
        GetUserConfigurations().SetValue(L"Backup::path", L"");
        GetUserConfigurations().Save();
    }
};

TEST_F(Checks, TheBackupFolderWinsOverEverything)
{
    GetUserConfigurations().SetValue(L"Backup::path", tree + L"\\Backups");
    GetUserConfigurations().Save();
    ASSERT_TRUE(filter.LoadXmlFilters(WriteRules(L"d.xml", TreeItem()), nullptr, nullptr));
    EXPECT_EQ(filter.BackupFolder(), tree + L"\\Backups\\");
    EXPECT_TRUE(log.Has(L"Backup folder path: " + std::wstring(tree) + L"\\Backups\\"));
    RecordWithTime(tree + L"\\Backups\\x", 1);
    EXPECT_EQ(filter.CheckForInclusion(tree + L"\\bACKUPS\\x", nullptr, false, true), NotIncluded);
    EXPECT_EQ(filter.CheckForInclusion(tree + L"\\x", nullptr, false, false), Included);
}

TEST_F(Checks, AnUnsetBackupFolderStaysEmpty)
{
    ASSERT_TRUE(filter.LoadXmlFilters(WriteRules(L"d.xml", TreeItem()), nullptr, nullptr));
    EXPECT_TRUE(filter.BackupFolder().IsEmpty());
}

TEST_F(Checks, AnIndexedFileStartsIncludedOnlyWhenTheCacheIsAsked)
{
    RecordWithTime(L"C:\\indexed.txt", 1);
    EXPECT_EQ(filter.CheckForInclusion(L"c:\\INDEXED.txt", nullptr, false, true), Included);
    EXPECT_EQ(filter.CheckForInclusion(L"c:\\indexed.txt", nullptr, false, false), NotIncluded);
}

TEST_F(Checks, MatchedRulesAreClearedOnlyWhenAsked)
{
    const FilterPtr rule = Add(L"C:\\a\\", WatcherEnum::Include);
    FilterList matched;
    filter.CheckForInclusion(L"C:\\a\\x", &matched, false, false);
    filter.CheckForInclusion(L"C:\\a\\x", &matched, false, false);
    EXPECT_EQ(matched.size(), 2u);
    filter.CheckForInclusion(L"C:\\a\\x", &matched, true, false);
    EXPECT_EQ(matched, FilterList{rule});
}

TEST_F(Checks, ADriveThatWasLookedUpOnceButHoldsNoRulesIsLoggedAndLeftOut)
{
    Add(L"C:\\a\\", WatcherEnum::Include);
    filter.CheckForInclusion(L"X:\\x", nullptr, false, false);
    const DriveList drives = filter.GenerateDriveList();
    EXPECT_EQ(drives.size(), 1u);
    EXPECT_TRUE(log.Has(L"Adding Drive: x:\\"));
    EXPECT_TRUE(log.Has(L"No filters specified for drive -- SKIP"));
    EXPECT_TRUE(log.Has(L"The drive without filters is x:\\"));
}

TEST_F(Checks, WithoutAdvancedRulesTheAdvancedCheckIsSkippedAndIncludes)
{
    EXPECT_EQ(filter.CheckForAdvancedInclusion(L"C:\\x"), Included);
    EXPECT_TRUE(filter.IsSkipAdvancedFilterCheck(L"C:\\x", {}));
    auto rule = std::make_shared<Filter>();
    rule->path = L"C:\\a\\";
    filter.AddAdvancedFilter(rule, true);
    EXPECT_FALSE(filter.IsSkipAdvancedFilterCheck(L"C:\\x", {}));
}

TEST_F(Checks, OnlyTheFirstRuleForAllPathsIsAsked)
{
    for (const wchar_t* mask : {L".a", L".long"}) {
        auto rule = std::make_shared<Filter>();
        rule->path = L"$$allpaths$$";
        rule->type = 1;
        rule->mask = mask;
        filter.AddAdvancedFilter(rule, true);
    }
    EXPECT_EQ(filter.CheckForAdvancedInclusion(L"C:\\folder here\\x.a"), Excluded);
    EXPECT_EQ(filter.CheckForAdvancedInclusion(L"C:\\folder here\\x.long"), Included);
    EXPECT_TRUE(log.Has(L"all selections extension rule did not match the file"));
    EXPECT_TRUE(log.Has(L"File: C:\\folder here\\x.long is Included due to all selections extension rule"));
}

TEST_F(Checks, AFailedExpressionIsLoggedAndTheFileTreatedAsIncluded)
{
    auto rule = std::make_shared<Filter>();
    rule->path = AllPaths;
    rule->type = 1;
    rule->mask = L"(";
    rule->isregex = true;
    rule->regex.Compile(rule->mask);
    filter.AddAdvancedFilter(rule, true);
    EXPECT_EQ(filter.CheckForAdvancedInclusion(Write(L"a.txt")), Included);
    EXPECT_TRUE(log.Has(L"Regular expression failed to compile, skipping rule check"));
    EXPECT_TRUE(log.Has(L"Treating file as included"));
}

TEST_F(Checks, DriveQuestionsTakeAnyPathOnTheDrive)
{
    EXPECT_FALSE(filter.IsDriveIncludeRules(L"C:\\x\\y"));
    EXPECT_TRUE(filter.IsDriveIncludeOnlyFiles(L"C:\\"));
    Add(L"C:\\f.txt", WatcherEnum::Include, L"", 0);
    Add(L"C:\\d\\", WatcherEnum::Exclude);
    EXPECT_TRUE(filter.IsDriveIncludeRules(L"c:\\other"));
    EXPECT_TRUE(filter.IsDriveIncludeOnlyFiles(L"C:\\x"));
    Add(L"C:\\e\\", WatcherEnum::Include);
    EXPECT_FALSE(filter.IsDriveIncludeOnlyFiles(L"C:\\"));
}

TEST_F(Checks, ListsHoldThePathsOfOneKindInRuleOrder)
{
    Add(L"C:\\a\\", WatcherEnum::Include);
    Add(L"C:\\a\\b\\", WatcherEnum::Include);
    Add(L"C:\\x\\", WatcherEnum::Exclude);
    Add(L"C:\\f.txt", WatcherEnum::Include, L"", 0);
    const std::vector<CString> folders{L"C:\\a\\b\\", L"C:\\a\\"}, excluded{L"C:\\x\\"}, files{L"C:\\f.txt"};
    EXPECT_EQ(filter.GenerateDirectoryList(L"C:\\any", WatcherEnum::Include), folders);
    EXPECT_EQ(filter.GenerateDirectoryList(L"c:\\", WatcherEnum::Exclude), excluded);
    EXPECT_EQ(filter.GenerateFileList(L"c:\\", WatcherEnum::Include), files);
    EXPECT_TRUE(filter.GenerateFileList(L"X:\\", WatcherEnum::Include).empty());
    std::vector<CString> appended{L"before"};
    filter.GetExplicitFiles(L"C:\\", appended);
    EXPECT_EQ(appended.size(), 2u);
}

TEST_F(Checks, AdvancedRulesAreSortedWhenAskedFor)
{
    const auto add = [&](const wchar_t* path, const wchar_t* mask) {
        auto rule = std::make_shared<Filter>();
        rule->path = path;
        rule->incEx = WatcherEnum::Include;
        rule->type = 1;
        rule->includeSub = true;
        rule->mask = mask;
        filter.AddAdvancedFilter(rule, true);
    };
    add(L"C:\\", L".txt");
    add(L"C:\\a\\b\\", L".doc"); // the deeper one is asked first, and its answer is not the last
    EXPECT_EQ(filter.CheckForAdvancedInclusion(L"C:\\a\\b\\x.txt"), Included);
}

TEST_F(Checks, AnExpressionSeesAFileWhoseNameEndsInADot)
{
    const CString path = InTree(L"x.");
    ASSERT_TRUE(FileHandle(CreateFileW(SystemPath(path), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr)));
    auto rule = std::make_shared<Filter>();
    rule->path = AllPaths;
    rule->exclude = true;
    rule->type = 1;
    rule->mask = L"x[.]$";
    rule->isregex = true;
    rule->regex.Compile(rule->mask);
    filter.AddAdvancedFilter(rule, true);
    EXPECT_EQ(filter.CheckForAdvancedInclusion(path), Excluded);
    EXPECT_TRUE(DeleteFileW(SystemPath(path)));
}

// The types that an interface names without knowing of ours.
TEST_F(Checks, ListsCanBeTakenInPlainMaps)
{
    ASSERT_TRUE(filter.LoadXmlFilters(
        WriteRules(L"d.xml", Item(L"path=\"C:\\a\" type=\"1\" mask=\".Doc\" pluginId=\"7\"")), nullptr, nullptr));
    const std::map<CString, DriveGuidInfo> drives = filter.GenerateDriveList();
    ASSERT_EQ(drives.size(), 1u);
    EXPECT_EQ(drives.begin()->first, L"c:\\");
    google::sparse_hash_map<CString, ExtProperties, cstring_hash_cs> extensions;
    filter.GenerateExtensionMap(extensions);
    EXPECT_EQ(extensions[L".doc"].profile, 7);
}

TEST_F(Checks, TheExtensionMapHoldsLowerCasedEndingsWithTheProfileOfTheLastRule)
{
    Add(L"C:\\a\\", WatcherEnum::Include, L".DOC;;.xls")->pluginId = 3;
    Add(L"C:\\b\\", WatcherEnum::Include, L".tmp")->pluginId = -1;
    Add(L"C:\\c\\", WatcherEnum::Exclude, L".bak")->pluginId = 5;
    Add(L"D:\\a\\", WatcherEnum::Include, L".Xls")->pluginId = 4;
    ExtensionMap map;
    filter.GenerateExtensionMap(map);
    EXPECT_EQ(map.size(), 2u);
    EXPECT_EQ(map[L".doc"].profile, 3);
    EXPECT_EQ(map[L".xls"].profile, 4);
}

TEST_F(Checks, APatternThatGivesUpOnAPathIsLoggedWithItAndLetsItIn)
{
    const CString path = Write((std::wstring(60, L'a') + L"b").c_str());
    const FilterPtr rule = Add(tree + L"\\", WatcherEnum::Exclude, L"(a+)+$");
    rule->isregex = true;
    ASSERT_TRUE(rule->regex.Compile(rule->mask));
    EXPECT_EQ(filter.CheckForAdvancedInclusionEx(path, rule), Included);
    EXPECT_TRUE(log.Has(L"Regular expression gave up on " + std::wstring(path) + L", skipping rule check"));
    EXPECT_TRUE(log.Has(L"Treating file as included"));
}

} // namespace

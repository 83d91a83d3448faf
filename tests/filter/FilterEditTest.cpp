// Taking rules out, moving them, and what the data file says afterwards.
#include "orbwatcher4/OrbFilter.h"
#include "support/Handle.h"
#include "tests/filter/FolderRule.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

TEST(FilterEdit, RemovingARuleTakesThatObjectOrEveryEqualOne)
{
    OrbFilter filter;
    const FilterPtr one = FolderRule(L"C:\\a\\"), twin = FolderRule(L"c:\\A\\"),
                    other = FolderRule(L"C:\\a\\", WatcherEnum::Exclude);
    for (const FilterPtr& rule : {one, twin, other})
        filter.AddSingleFilter(rule, false);
    EXPECT_TRUE(filter.RemoveSingleFilter(one, false, false));
    EXPECT_FALSE(filter.RemoveSingleFilter(one, false, false));
    EXPECT_EQ(filter.RulesOf(L"C:\\"), (FilterList{twin, other}));
    EXPECT_TRUE(filter.RemoveSingleFilter(one, true, false));
    EXPECT_EQ(filter.RulesOf(L"C:\\"), FilterList{other});
}

TEST(FilterEdit, RemovingARuleFromTheDataFileLeavesTheRestAsItIs)
{
    const TempFolder folder;
    folder.WriteBytes(L"d.xml", "<Data><!-- kept --><Item path=\"C:\\a\" type=\"1\" pluginId=\"2\"/>"
                                "<Item path=\"C:\\b\" type=\"1\"/></Data>");
    OrbFilter filter;
    ASSERT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
    const FilterPtr rule = FolderRule(L"c:\\A\\");
    rule->pluginId = 2;
    EXPECT_TRUE(filter.RemoveSingleFilter(rule, true, true));
    EXPECT_EQ(folder.ReadBytes(L"d.xml"), "<Data><!-- kept --><Item path=\"C:\\b\" type=\"1\"/></Data>");
    EXPECT_EQ(filter.RulesOf(L"C:\\").size(), 1u);
}

TEST(FilterEdit, ARuleConflictsWithAHeldOneOfTheOppositeKindAlone)
{
    OrbFilter filter;
    filter.AddSingleFilter(FolderRule(L"C:\\a\\"), false);
    EXPECT_FALSE(filter.CheckRuleNoConflict(FolderRule(L"c:\\A\\", WatcherEnum::Exclude)));
    EXPECT_TRUE(filter.CheckRuleNoConflict(FolderRule(L"C:\\a\\")));
    const FilterPtr masked = FolderRule(L"C:\\a\\", WatcherEnum::Exclude);
    masked->mask = L".tmp";
    EXPECT_TRUE(filter.CheckRuleNoConflict(masked));
    const FilterPtr profile = FolderRule(L"C:\\a\\", WatcherEnum::Exclude);
    profile->pluginId = 3;
    EXPECT_TRUE(filter.CheckRuleNoConflict(profile));
}

TEST(FilterEdit, MovedRulesAreNewOnes)
{
    OrbFilter filter;
    const FilterPtr rule = FolderRule(L"D:\\Data\\");
    filter.AddSingleFilter(rule, false);
    EXPECT_TRUE(filter.MoveDriveRules(L"D:\\", L"e:\\"));
    EXPECT_FALSE(filter.MoveDriveRules(L"D:\\", L"e:\\"));
    EXPECT_STREQ(rule->path, L"D:\\Data\\");
    ASSERT_EQ(filter.RulesOf(L"E:\\").size(), 1u);
    EXPECT_STREQ(filter.RulesOf(L"E:\\")[0]->path, L"e:\\data\\");
    EXPECT_TRUE(filter.RulesOf(L"D:\\").empty());
}

TEST(FilterEdit, ADataFileThatCannotBeReplacedStaysWholeAndIsToldInTheLog)
{
    const TempFolder folder;
    const std::string before = "<Data><Item path=\"C:\\a\" type=\"1\"/></Data>";
    folder.WriteBytes(L"d.xml", before);
    OrbFilter filter;
    ASSERT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
    LogCapture log;
    {
        const FileHandle others(CreateFileW(folder.Path(L"d.xml"), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(static_cast<bool>(others));
        EXPECT_TRUE(filter.RemoveSingleFilter(FolderRule(L"C:\\a\\"), true, true)); // it has left the memory
    }
    EXPECT_TRUE(log.Has(L"Failed to save Data XML File"));
    EXPECT_EQ(folder.ReadBytes(L"d.xml"), before);
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path().GetString()))
        files += entry.is_regular_file();
    EXPECT_EQ(files, 1); // nothing is left beside it
}

TEST(FilterEdit, AMissingOrMalformedDataFileIsToldInTheLog)
{
    const TempFolder folder;
    for (const char* bytes : {"", "<Data><Item"}) {
        folder.WriteBytes(L"d.xml", bytes);
        OrbFilter filter;
        filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr);
        LogCapture log;
        EXPECT_FALSE(filter.RemoveSingleFilter(FolderRule(L"C:\\a\\"), true, true));
        EXPECT_TRUE(log.Has(L"Failed to load Data XML File"));
        EXPECT_EQ(folder.ReadBytes(L"d.xml"), bytes);
    }
}

TEST(FilterEdit, AnItemOfAVolumeThatIsMountedElsewhereIsFound)
{
    const TempFolder folder;
    folder.WriteBytes(L"d.xml", "<Data><Item path=\"d:\\b\" type=\"1\" vid=\"1330791013\"/></Data>");
    OrbFilter filter; // the serial of drive E:
    ASSERT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
    ASSERT_EQ(filter.RulesOf(L"E:\\").size(), 1u);
    EXPECT_TRUE(filter.RemoveSingleFilter(filter.RulesOf(L"E:\\")[0], false, true));
    EXPECT_EQ(folder.ReadBytes(L"d.xml"), "<Data></Data>");
}

TEST(FilterEdit, RulesMoveBetweenDrivesAndShares)
{
    OrbFilter filter;
    filter.AddSingleFilter(FolderRule(L"\\\\server\\share\\Data\\"), false);
    ASSERT_TRUE(filter.MoveDriveRules(L"\\\\server\\share", L"e:\\"));
    EXPECT_STREQ(filter.RulesOf(L"E:\\")[0]->path, L"e:\\data\\");
    ASSERT_TRUE(filter.MoveDriveRules(L"e:\\", L"\\\\server\\share"));
    EXPECT_STREQ(filter.RulesOf(L"\\\\server\\share")[0]->path, L"\\\\server\\share\\data\\");
}

} // namespace

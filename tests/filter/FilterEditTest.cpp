// Taking rules out, moving them, and what the data file says afterwards.
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/RulesByPath.h"
#include "support/Handle.h"
#include "tests/filter/FolderRule.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/support/ImportedCall.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

namespace
{

BOOL WINAPI RefuseToWrite(HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED)
{
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

std::size_t WriteNothing(const void*, std::size_t, std::size_t, std::FILE*)
{
    errno = ENOSPC;
    return 0;
}

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

TEST(FilterEdit, RulesAndItemsAreComparedInTheSystemsForm)
{
    const TempFolder folder;
    folder.WriteBytes(L"d.xml", "<Data><Item path=\"C:/a/\" type=\"1\"/><Item path=\"C:\\b\\..\\A\" type=\"1\"/>"
                                "<Item path=\"C:\\b\" type=\"1\"/></Data>");
    OrbFilter filter;
    ASSERT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
    EXPECT_FALSE(filter.CheckRuleNoConflict(FolderRule(L"C:\\x\\..\\a\\", WatcherEnum::Exclude)));
    EXPECT_TRUE(filter.RemoveSingleFilter(FolderRule(L"C:\\\\a\\"), true, true));
    EXPECT_EQ(folder.ReadBytes(L"d.xml"), "<Data><Item path=\"C:\\b\" type=\"1\"/></Data>");
    EXPECT_EQ(filter.RulesOf(L"C:\\").size(), 1u);
}

TEST(FilterEdit, ARuleThatWasAddedAsItStandsCanBeRemoved)
{
    OrbFilter filter;
    const FilterPtr rule = FolderRule(L"C:/a/");
    filter.AddSingleFilter(rule, true);
    EXPECT_STREQ(rule->path, L"C:/a/");
    EXPECT_TRUE(filter.RemoveSingleFilter(FolderRule(L"C:/a/"), true, false));
    EXPECT_FALSE(filter.HasRules());
}

TEST(FilterEdit, ARulesByPathWithAHeldOneOfTheOppositeKindAlone)
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

TEST(FilterEdit, ANewRuleIsComparedOnlyWithTheRulesOfItsPath)
{
    constexpr int rules = 1000;
    RulesByPath held;
    for (int number = 0; number < rules; ++number)
        held.Add(FolderRule((L"C:\\" + std::to_wstring(number) + L"\\").c_str()));
    for (int number = 0; number < rules; ++number) {
        const std::wstring path = L"c:/" + std::to_wstring(number) + L"/";
        EXPECT_TRUE(held.HasConflict(*FolderRule(path.c_str(), WatcherEnum::Exclude)));
        EXPECT_FALSE(held.HasConflict(*FolderRule((path + L"b\\").c_str(), WatcherEnum::Exclude)));
    }
    EXPECT_EQ(held.Compared(), std::size_t(rules)) << "the others share no path with any";
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

// Its bytes would join with the quotation mark behind it, and the file would be malformed.
TEST(FilterEdit, ADataFileWithHalfASurrogatePairStaysWholeAndIsToldInTheLog)
{
    const TempFolder folder;
    const std::string before = "<Data><Item path=\"C:\\a\" type=\"1\"/><Item path=\"C:\\b\xED\xA0\x80\"/></Data>";
    folder.WriteBytes(L"d.xml", before);
    OrbFilter filter;
    ASSERT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
    LogCapture log;
    filter.RemoveSingleFilter(FolderRule(L"C:\\a\\"), true, true);
    EXPECT_TRUE(log.Has(L"Failed to save Data XML File"));
    EXPECT_EQ(folder.ReadBytes(L"d.xml"), before);
}

TEST(FilterEdit, AUtf16DataFileStaysWholeOnAFullDisk)
{
    const TempFolder folder;
    const std::wstring text = L"\uFEFF<Data><Item path=\"C:\\a\" type=\"1\"/></Data>";
    const std::string before(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    folder.WriteBytes(L"d.xml", before);
    OrbFilter filter;
    ASSERT_TRUE(filter.LoadXmlFilters(folder.Path(L"d.xml"), nullptr, nullptr));
    ASSERT_EQ(filter.AllRules().size(), 1u);
    LogCapture log;
    {
        const ImportedCall full(nullptr, "WriteFile", RefuseToWrite);
        const ImportedCall fullForStreams(nullptr, "fwrite", WriteNothing);
        filter.RemoveSingleFilter(FolderRule(L"C:\\a\\"), true, true);
    }
    EXPECT_TRUE(log.Has(L"Failed to save Data XML File"));
    EXPECT_EQ(folder.ReadBytes(L"d.xml"), before);
    EXPECT_TRUE(filter.RemoveSingleFilter(FolderRule(L"C:\\a\\"), true, true));
    EXPECT_EQ(folder.ReadBytes(L"d.xml").substr(0, 2), "\xFF\xFE");
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
    if (const std::string why = WhyDrivesShareAVolume(); !why.empty())
        GTEST_SKIP() << why;
    const std::string serial = std::to_string(SerialOfDrive('e'));
    const TempFolder folder;
    folder.WriteBytes(L"d.xml", "<Data><Item path=\"d:\\b\" type=\"1\" vid=\"" + serial + "\"/></Data>");
    OrbFilter filter;
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

// Editing the selection that is estimated.
#include "tests/estimator/ScannerFixture.h"

namespace
{

class ScannerEdit : public ScannerFixture
{
protected:
    // Folders that are not there: nothing is found in them.
    const CString a = L"C:\\none\\a\\";
};
using Texts = std::vector<std::wstring>;

TEST_F(ScannerEdit, AFolderThatIsAddedTwiceHasOneRuleAndOneCompanion)
{
    scanner.AddPath(a, true);
    scanner.AddPath(L"c:\\NONE\\A\\", true);
    EXPECT_EQ(Rules(), (Texts{L"+-1 C:\\none\\a\\ ", L"--2 C:\\none\\a\\ |invalid|"}));
}

TEST_F(ScannerEdit, APathInAnotherSpellingIsTheSameFolder)
{
    scanner.AddPath(a, true);
    scanner.AddPath(L"C:/none/x/../a/", true);
    EXPECT_EQ(Rules(), (Texts{L"+-1 C:\\none\\a\\ ", L"--2 C:\\none\\a\\ |invalid|"}));
    scanner.RemovePath(L"C:/none/a/", true);
    EXPECT_EQ(Rules(), (Texts{L"--2 C:\\none\\a\\ |invalid|"}));
}

TEST_F(ScannerEdit, ARuleSaysAllThatOneFromAFileSays)
{
    scanner.AddPath(a, false);
    scanner.RemovePath(L"C:\\none\\f.txt", true);
    const FilterList rules = ScannerAccess::Selection(scanner).RulesOf(L"C:\\");
    ASSERT_EQ(rules.size(), 3u);
    for (const FilterPtr& rule : rules) {
        EXPECT_TRUE(rule->volumeFound);
        EXPECT_EQ(rule->exclude, rule->incEx == WatcherEnum::Exclude);
        EXPECT_EQ(rule->includeSub, rule->incEx == WatcherEnum::Exclude);
        EXPECT_EQ(rule->type, rule->path == a ? 1 : 0);
    }
}

TEST_F(ScannerEdit, TheCompanionOfASingleFileIsAFolderRuleAllTheSame)
{
    scanner.AddPath(L"C:\\none\\f.txt", true);
    for (const FilterPtr& rule : ScannerAccess::Selection(scanner).RulesOf(L"C:\\"))
        EXPECT_EQ(rule->type, rule->pluginId == FileFolderFilterProfile ? 1 : 0);
}

TEST_F(ScannerEdit, RemovingAFolderThatWasAddedLeavesItsCompanionAlone)
{
    scanner.AddPath(a, true);
    scanner.RemovePath(L"C:\\None\\a\\", true);
    EXPECT_EQ(Rules(), (Texts{L"--2 C:\\none\\a\\ |invalid|"}));
}

TEST_F(ScannerEdit, RemovingAFolderThatWasNotAddedExcludesIt)
{
    scanner.RemovePath(a, true);
    scanner.RemovePath(a, true);
    EXPECT_EQ(Rules(), (Texts{L"--1 C:\\none\\a\\ "}));
    scanner.AddPath(a, true);
    EXPECT_EQ(Rules(), (Texts{L"+-1 C:\\none\\a\\ ", L"--2 C:\\none\\a\\ |invalid|"}));
}

TEST_F(ScannerEdit, WhatBeginsWithThePathGivesWay)
{
    scanner.AddPath(L"C:\\none\\a\\b\\", true);
    scanner.RemovePath(L"C:\\none\\a\\c\\", true);
    scanner.AddPath(L"C:\\none\\other\\", true);
    scanner.AddPath(a, true);
    EXPECT_EQ(Rules(), (Texts{L"+-1 C:\\none\\a\\ ", L"+-1 C:\\none\\other\\ ", L"--2 C:\\none\\a\\ |invalid|",
                              L"--2 C:\\none\\a\\b\\ |invalid|", L"--2 C:\\none\\other\\ |invalid|"}));
}

TEST_F(ScannerEdit, ThePrefixIsTakenAsText)
{
    scanner.AddPath(L"C:\\none\\ab\\", true);
    scanner.AddPath(L"C:\\none\\a", true);
    EXPECT_EQ(Rules(), (Texts{L"+-1 C:\\none\\a ", L"--2 C:\\none\\a |invalid|", L"--2 C:\\none\\ab\\ |invalid|"}));
}

TEST_F(ScannerEdit, WhereTheVeryRuleIsThereNothingBelowItGivesWay)
{
    scanner.AddPath(a, true);
    scanner.RemovePath(L"C:\\none\\a\\b\\", true);
    const Texts before = Rules();
    scanner.AddPath(a, true);
    EXPECT_EQ(Rules(), before);
}

TEST_F(ScannerEdit, RulesOfOtherProfilesStay)
{
    scanner.EditProfile(5, L".doc", {a});
    scanner.AddPath(a, true);
    EXPECT_EQ(Rules(), (Texts{L"+-1 C:\\none\\a\\ ", L"+5 C:\\none\\a\\ .doc", L"--2 C:\\none\\a\\ |invalid|",
                              L"--2 C:\\none\\a\\ |invalid|"}));
}

TEST_F(ScannerEdit, SeveralPathsAreTakenOneByOne)
{
    scanner.AddPath(std::vector<CString>{a, a, L"B:\\none\\"}, true);
    EXPECT_EQ(Rules().size(), 2u);
    EXPECT_EQ(Rules(L"B:\\").size(), 2u);
    scanner.RemovePath(std::vector<CString>{a, L"B:\\none\\"}, true);
    EXPECT_EQ(Rules().size(), 1u);
    scanner.AddPath(std::vector<CString>(), true);
    scanner.AddPath(L"", true);
    scanner.AddPath(nullptr, true);
    EXPECT_EQ(Rules().size(), 1u);
}

TEST_F(ScannerEdit, TheFilterIsForFoldersThatAreAddedLater)
{
    EXPECT_STREQ(ScannerAccess::FileFolderFilter(scanner), L"|invalid|");
    scanner.AddPath(a, true);
    scanner.SetFileFolderFilter(L".tmp");
    scanner.AddPath(L"C:\\none\\b\\", true);
    scanner.SetFileFolderFilter(L"");
    EXPECT_STREQ(ScannerAccess::FileFolderFilter(scanner), L"|invalid|");
    EXPECT_EQ(Rules(), (Texts{L"+-1 C:\\none\\a\\ ", L"+-1 C:\\none\\b\\ ", L"--2 C:\\none\\a\\ |invalid|",
                              L"--2 C:\\none\\b\\ .tmp"}));
    scanner.SetFileFolderFilter(nullptr);
    EXPECT_STREQ(ScannerAccess::FileFolderFilter(scanner), L"|invalid|");
}

TEST_F(ScannerEdit, AFolderLeavesOutWhatTheFilterNames)
{
    Write(L"a.txt", 1);
    Write(L"b.tmp", 2);
    scanner.SetFileFolderFilter(L".tmp");
    scanner.AddPath(Tree(), true);
    EXPECT_EQ(IncludedFiles(), (Files{{L"a.txt", 1}}));
}

TEST_F(ScannerEdit, ProfilesAreSharedOutOfTheStoredConfiguration)
{
    Configure(FolderItem(L"B:\\one", L"pluginId=\"1\"") + FolderItem(L"B:\\two", L"pluginId=\"2\"") +
              FolderItem(L"B:\\one\\x", L"pluginId=\"1\" exclude=\"1\""));
    scanner.AddProfile(1);
    EXPECT_TRUE(Rules(L"B:\\").empty()) << "Start reads the configuration";
    scanner.Start();
    scanner.AddProfile({2, 1, 7});
    EXPECT_EQ(Rules(L"B:\\"), (Texts{L"+1 B:\\one\\ ", L"+2 B:\\two\\ ", L"-1 B:\\one\\x\\ "}));
    const FilterList held = ScannerAccess::Selection(scanner).RulesOf(L"B:\\");
    EXPECT_EQ(held, ScannerAccess::AllFilters(scanner).RulesOf(L"B:\\")) << "the very rules, in their order";
    scanner.RemoveProfile(1);
    EXPECT_EQ(Rules(L"B:\\"), (Texts{L"+2 B:\\two\\ "}));
    scanner.RemoveProfile(std::vector<int>{2});
    EXPECT_TRUE(Rules(L"B:\\").empty());
}

TEST_F(ScannerEdit, AnEditedProfileHasTheNewFoldersWithTheirMask)
{
    Configure(FolderItem(L"B:\\one", L"pluginId=\"1\""));
    scanner.Start();
    scanner.AddProfile(1);
    scanner.EditProfile(1, L".doc", {L"B:\\new\\", L"B:\\more\\"});
    EXPECT_EQ(Rules(L"B:\\"), (Texts{L"+1 B:\\more\\ .doc", L"+1 B:\\new\\ .doc", L"--2 B:\\more\\ |invalid|",
                                     L"--2 B:\\new\\ |invalid|"}));
}

TEST_F(ScannerEdit, AFolderThatIsNotCachedIsScannedAtOnce)
{
    Write(L"a.txt", 3);
    Write(L"d\\b.txt", 4);
    EXPECT_FALSE(scanner.IsCalculating());
    scanner.AddPath(Tree(), true);
    EXPECT_TRUE(scanner.IsCalculating());
    EXPECT_EQ(scanner.GetTotalSize(), 7.0) << "the running total";
    EXPECT_EQ(Total(), 7u);
    EXPECT_FALSE(scanner.IsCalculating());
}

TEST_F(ScannerEdit, WhatIsRemovedIsScannedAsWell)
{
    Write(L"a.txt", 3);
    scanner.RemovePath(Tree(), true);
    EXPECT_TRUE(IsCached(Tree(L"a.txt")));
    EXPECT_EQ(Total(), 0u);
}

TEST_F(ScannerEdit, AFolderThatIsCachedIsNotScannedAgain)
{
    Write(L"d\\a.txt", 3);
    scanner.AddPath(Tree(L"d\\"), true);
    Write(L"b.txt", 4);
    scanner.UpdateTotals();
    scanner.AddPath(Tree(), true);
    EXPECT_FALSE(scanner.IsCalculating());
    EXPECT_EQ(Total(), 3u) << "anything below it makes a folder known";
    EXPECT_TRUE(scanner.ScanPath(Tree(), true));
    EXPECT_EQ(Total(), 7u);
}

TEST_F(ScannerEdit, ASingleFileIsScannedWithItsSize)
{
    Write(L"a.txt", 3);
    scanner.AddPath(Tree(L"a.txt"), false);
    EXPECT_EQ(Total(), 3u);
    Write(L"a.txt", 9);
    EXPECT_TRUE(scanner.ScanPath(Tree(L"a.txt"), false));
    EXPECT_EQ(Total(), 3u) << "what is cached stays";
}

TEST_F(ScannerEdit, WithoutSubFoldersOnlyTheFoldersOwnFilesAreScanned)
{
    Write(L"a.txt", 3);
    Write(L"d\\b.txt", 4);
    scanner.AddPath(Tree(), false);
    EXPECT_TRUE(IsCached(Tree(L"a.txt")));
    EXPECT_FALSE(IsCached(Tree(L"d")));
    EXPECT_EQ(Total(), 0u) << "such a rule speaks of the folder itself";
}

TEST_F(ScannerEdit, HiddenFoldersAreScannedWhenAskedAndHiddenFilesAlways)
{
    Write(L"d\\a.txt", 1);
    Write(L"h.txt", 2);
    for (const wchar_t* name : {L"d", L"h.txt"})
        ASSERT_TRUE(SetFileAttributesW(Tree(name), FILE_ATTRIBUTE_HIDDEN));
    scanner.AddPath(Tree(), true);
    EXPECT_EQ(Total(), 2u);
    Scanner other;
    other.IncludeHidden(true);
    other.AddPath(Tree(), true);
    other.UpdateTotals();
    EXPECT_EQ(other.GetTotalSize(), 3.0);
}

TEST_F(ScannerEdit, ACopySharesTheCacheAndHasRulesOfItsOwn)
{
    Write(L"a.txt", 3);
    Scanner copy(scanner);
    scanner.AddPath(Tree(), true);
    EXPECT_EQ(ScannerAccess::Cache(copy), ScannerAccess::Cache(scanner));
    EXPECT_EQ(ScannerAccess::CacheLock(copy), ScannerAccess::CacheLock(scanner));
    copy.UpdateTotals();
    EXPECT_EQ(copy.GetTotalSize(), 0.0);
    copy = scanner;
    EXPECT_EQ(copy.GetTotalSize(), 3.0) << "the running total comes along";
    EXPECT_TRUE(copy.IsCalculating());
    scanner.RemovePath(Tree(), true);
    copy.UpdateTotals();
    EXPECT_EQ(copy.GetTotalSize(), 3.0);
    EXPECT_EQ(copy.GetScanProgress().files, 1u);
}

TEST_F(ScannerEdit, ACopyCarriesEverySettingOver)
{
    scanner.SetBasicInfo(L"d", L"a", L"s");
    scanner.SetFileFolderFilter(L".x");
    scanner.SetPrice(1, 2);
    ScannerAccess::Extensions(scanner)[L".y"].ratio = 3;
    ScannerAccess::Rates(scanner)[4] = 5;
    const Scanner copy(scanner);
    Scanner& other = const_cast<Scanner&>(copy);
    EXPECT_STREQ(ScannerAccess::StatsPath(copy), L"s");
    EXPECT_STREQ(ScannerAccess::FileFolderFilter(copy), L".x");
    EXPECT_EQ(ScannerAccess::SecondPrice(copy), 2.0f);
    EXPECT_EQ(ScannerAccess::Extensions(other).find(L".y")->second.ratio, 3.0f);
    EXPECT_EQ(ScannerAccess::Rates(other)[4], 5.0);
}

TEST_F(ScannerEdit, ACopyOutlivesItsSource)
{
    Write(L"a.txt", 3);
    auto source = std::make_unique<Scanner>();
    Scanner copy(*source);
    source->AddPath(Tree(), true);
    source.reset();
    copy.AddPath(Tree(), true);
    copy.UpdateTotals();
    EXPECT_EQ(copy.GetTotalSize(), 3.0);
    copy.Stop();
    copy = *std::make_unique<Scanner>(copy);
    copy.UpdateTotals();
    EXPECT_EQ(copy.GetTotalSize(), 3.0);
}

TEST_F(ScannerEdit, WhoStopsACopyStopsItsSource)
{
    Write(L"a.txt", 3);
    Configure(FolderItem(Tree()));
    Scanner(scanner).Stop();
    scanner.Start();
    EXPECT_FALSE(IsCached(Tree(L"a.txt")));
}

TEST_F(ScannerEdit, ANullPathLeavesWhatWasSet)
{
    Scanner made(L"data.xml", L"auto.xml", L"stats.xml");
    EXPECT_STREQ(ScannerAccess::StatsPath(made), L"stats.xml");
    made.SetBasicInfo(nullptr, nullptr, nullptr);
    EXPECT_STREQ(ScannerAccess::StatsPath(made), L"stats.xml");
    made.SetBasicInfo(L"", L"", L"other.xml");
    EXPECT_STREQ(ScannerAccess::StatsPath(made), L"other.xml");
}

} // namespace

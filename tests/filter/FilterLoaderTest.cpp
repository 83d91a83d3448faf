// Reading the selection files.
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

class Loading : public WatcherFixture
{
protected:
    OrbFilter filter;

    FilterList Load(const std::string& items, bool automatic = false, bool mark = false, bool text = false)
    {
        FilterList rules;
        EXPECT_TRUE(filter.LoadXmlFilter(WriteRules(L"d.xml", items), automatic, &rules, mark, text));
        return rules;
    }
    FilterList LoadAdvanced(const std::string& items)
    {
        OrbFilter fresh;
        EXPECT_TRUE(fresh.LoadXmlFilterAdvanced(WriteRules(L"a.xml", items)));
        m_advanced = fresh;
        return {};
    }
    InclusionType Advanced(const wchar_t* path, FilterPtr* deciding = nullptr)
    {
        return m_advanced.CheckForAdvancedInclusion(path, deciding);
    }

private:
    OrbFilter m_advanced;
};

// The volumes of shares that were asked for.
int g_sharesAsked = 0;

BOOL WINAPI CountedVolume(const wchar_t* root, wchar_t* name, DWORD nameLength, DWORD* serial, DWORD* component,
                          DWORD* flags, wchar_t* system, DWORD systemLength)
{
    static const auto original = SystemFunction<decltype(GetVolumeInformationW)>("GetVolumeInformationW");
    if (root && std::wstring_view(root).starts_with(L"\\\\"))
        ++g_sharesAsked;
    return original(root, name, nameLength, serial, component, flags, system, systemLength);
}

TEST_F(Loading, DoesNotAskAShareWhichVolumeItIs)
{
    const ImportedCall call(nullptr, "GetVolumeInformationW", CountedVolume);
    const CString rules = WriteRules(L"d.xml", Item(L"path=\"\\\\server\\share\\docs\" type=\"1\" vid=\"5\""));
    g_sharesAsked = 0;
    EXPECT_TRUE(filter.LoadXmlFilters(rules, L"", nullptr));
    EXPECT_EQ(g_sharesAsked, 0);
}

TEST_F(Loading, AnItemWithoutAPathIsDroppedAndOneWithOnlyAPathIsAFileRuleThatIncludes)
{
    const FilterList rules = Load("<Item type=\"1\"/><Item path=\"\"/><Item path=\"D:\\f.txt\"/>");
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_EQ(rules[0]->type, 0);
    EXPECT_EQ(rules[0]->incEx, WatcherEnum::Include);
    EXPECT_FALSE(rules[0]->exclude);
    EXPECT_TRUE(rules[0]->volumeFound);
}

TEST_F(Loading, AFolderRulesPathEndsInABackslash)
{
    const FilterList rules = Load("<Item path=\"D:\\Photos\" type=\"1\"/><Item path=\"D:\\Music\\\" type=\"1\"/>");
    EXPECT_STREQ(rules[0]->path, L"D:\\Photos\\");
    EXPECT_STREQ(rules[1]->path, L"D:\\Music\\");
}

TEST_F(Loading, EveryAttributeHasItsField)
{
    const FilterList rules = Load(
        "<Item path=\"D:\\a\" type=\"7\" includeSub=\"2\" flags=\"4294967295\" pluginId=\"-3\" pluginName=\"P&amp;Q\" "
        "additionalInfo=\"info\" mask=\"*.x\" jobid=\"12\" exclude=\"1\"/>");
    ASSERT_EQ(rules.size(), 1u);
    const Filter& rule = *rules[0];
    EXPECT_EQ(rule.type, 1);
    EXPECT_TRUE(rule.includeSub);
    EXPECT_EQ(rule.flags, 0xFFFFFFFFu);
    EXPECT_EQ(rule.pluginId, -3);
    EXPECT_STREQ(rule.pluginName, L"P&Q");
    EXPECT_STREQ(rule.additionalInfo, L"info");
    EXPECT_STREQ(rule.mask, L"*.x"); // asterisks are kept here
    EXPECT_EQ(rule.jobid, 12);
    EXPECT_EQ(rule.incEx, WatcherEnum::Exclude);
    EXPECT_TRUE(rule.exclude);
}

TEST_F(Loading, ExcludeOtherThanOneIncludes)
{
    EXPECT_EQ(Load("<Item path=\"D:\\a\" exclude=\"2\"/>")[0]->incEx, WatcherEnum::Include);
}

TEST_F(Loading, AnAutomaticExclusionIsNotTheUsers)
{
    const FilterList rules = Load("<Item path=\"D:\\a\" exclude=\"1\"/>", true);
    EXPECT_EQ(rules[0]->incEx, WatcherEnum::Exclude);
    EXPECT_FALSE(rules[0]->exclude);
}

TEST_F(Loading, MarkedRulesCoverHiddenFilesAndTheMarkupIsKeptWhenAskedFor)
{
    const FilterList rules = Load("<Item path=\"D:\\a\"><x>t</x></Item>", false, true, true);
    EXPECT_EQ(rules[0]->flags, 0x4000u);
    EXPECT_STREQ(rules[0]->itemText, L"<Item path=\"D:\\a\"><x>t</x></Item>");
    EXPECT_TRUE(Load("<Item path=\"D:\\a\"/>")[0]->itemText.IsEmpty());
}

TEST_F(Loading, MaskType2SplitsAnIncludeIntoEverythingAndAnExclusionOfTheMask)
{
    const FilterList rules = Load("<Item path=\"D:\\a\" type=\"1\" masktype=\"2\" mask=\"*.tmp\" jobid=\"4\"/>");
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules[0]->incEx, WatcherEnum::Include);
    EXPECT_TRUE(rules[0]->mask.IsEmpty());
    EXPECT_EQ(rules[0]->jobid, 0); // read after the split
    EXPECT_EQ(rules[1]->incEx, WatcherEnum::Exclude);
    EXPECT_TRUE(rules[1]->exclude);
    EXPECT_STREQ(rules[1]->mask, L"*.tmp");
    EXPECT_EQ(rules[1]->jobid, 4);
}

TEST_F(Loading, MaskType2OfAnExclusionIsOneExclusion)
{
    EXPECT_EQ(Load("<Item path=\"D:\\a\" masktype=\"2\" mask=\"*.tmp\" exclude=\"1\"/>").size(), 1u);
    EXPECT_EQ(Load("<Item path=\"D:\\a\" masktype=\"2\" mask=\"*.tmp\" exclude=\"1\"/>", true).size(), 2u);
    EXPECT_EQ(Load("<Item path=\"D:\\a\" masktype=\"2\"/>").size(), 1u);
    EXPECT_EQ(Load("<Item path=\"D:\\a\" masktype=\"1\" mask=\".x\"/>").size(), 1u);
}

TEST_F(Loading, AProfileMaskSplitsWhateverTheKindAndItsExclusionIsNotTheUsers)
{
    for (const char* exclude : {"0", "1"}) {
        const FilterList rules =
            Load("<Item path=\"D:\\a\" mask=\".old\" PRMask=\".log\" exclude=\"" + std::string(exclude) + "\"/>");
        ASSERT_EQ(rules.size(), 2u);
        EXPECT_EQ(rules[0]->incEx, WatcherEnum::Include);
        EXPECT_TRUE(rules[0]->mask.IsEmpty());
        EXPECT_EQ(rules[1]->incEx, WatcherEnum::Exclude);
        EXPECT_FALSE(rules[1]->exclude);
        EXPECT_STREQ(rules[1]->mask, L".log");
    }
}

TEST_F(Loading, TooLongValuesAreDroppedAndTheRuleKept)
{
    const FilterList rules =
        Load("<Item path=\"D:\\a\" additionalInfo=\"" + std::string(278, 'i') + "\" mask=\"" + std::string(5119, 'm') +
             "\"/><Item path=\"D:\\b\" additionalInfo=\"" + std::string(279, 'i') + "\" mask=\"" +
             std::string(5120, 'm') + "\" PRMask=\"" + std::string(5120, 'p') + "\"/>");
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules[0]->additionalInfo.GetLength(), 278);
    EXPECT_EQ(rules[0]->mask.GetLength(), 5119);
    EXPECT_TRUE(rules[1]->additionalInfo.IsEmpty());
    EXPECT_TRUE(rules[1]->mask.IsEmpty());
    EXPECT_EQ(log.Count(L"Failed to load Additional Info"), 1);
    EXPECT_TRUE(log.Has(L"Text: " + std::wstring(279, L'i')));
    EXPECT_EQ(log.Count(L"Extensions is bigger than buffer -- SKIP"), 1);
}

TEST_F(Loading, AnItemBeforeGlobalExcludeIsNotRead)
{
    const FilterList rules =
        Load("<Item path=\"D:\\early\"/><GlobalExclude>keep &lt;this&gt;</GlobalExclude><Item path=\"D:\\late\"/>");
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_STREQ(rules[0]->path, L"D:\\late");
    EXPECT_STREQ(filter.GlobalExclude(), L"keep <this>");
}

TEST_F(Loading, AVolumeMountedElsewhereTakesALowerCasePathWithItAndLeavesOthersAsWritten)
{
    if (const std::string why = WhyDrivesShareAVolume(); !why.empty())
        GTEST_SKIP() << why;
    const std::string serial = std::to_string(SerialOfDrive('e'));
    const FilterList rules =
        Load("<Item path=\"d:\\data\\\" vid=\"" + serial + "\"/><Item path=\"D:\\data\\\" vid=\"" + serial +
             "\"/>"
             "<Item path=\"d:\\x\" vid=\"12345\"/><Item path=\"d:\\x\" vid=\"0\"/>");
    ASSERT_EQ(rules.size(), 4u);
    EXPECT_STREQ(rules[0]->path, L"E:\\data\\");
    EXPECT_TRUE(rules[0]->volumeFound);
    EXPECT_STREQ(rules[1]->path, L"D:\\data\\");
    EXPECT_TRUE(rules[1]->volumeFound);
    EXPECT_FALSE(rules[2]->volumeFound);
    EXPECT_EQ(rules[2]->vid, 12345);
    EXPECT_FALSE(rules[3]->volumeFound); // "0" is not empty, and no volume has it
}

TEST_F(Loading, AnIncludedNetworkPathIsNoticed)
{
    Load("<Item path=\"\\\\server\\share\\x\" exclude=\"1\"/>");
    EXPECT_FALSE(filter.NetworkInclude());
    Load("<Item path=\"\\\\server\\share\\x\"/>");
    EXPECT_TRUE(filter.NetworkInclude());
}

TEST_F(Loading, AutomaticRulesAreMarkedAndFiledWithTheSelection)
{
    ASSERT_TRUE(filter.LoadXmlFilters(
        WriteRules(L"d.xml", TreeItem()),
        WriteRules(L"auto.xml",
                   Item(L"path=\"" + std::wstring(tree) + L"\\out\" type=\"1\" includeSub=\"1\" exclude=\"1\"")),
        folder.Path(L"no advanced.xml")));
    const FilterList rules = filter.RulesOf(tree);
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules[0]->flags, 0x10000000u);
    EXPECT_EQ(filter.CheckForInclusion(tree + L"\\out\\x", nullptr, false, false), NotIncluded);
    EXPECT_TRUE(log.Has(L"Data File: " + std::wstring(folder.Path(L"d.xml"))));
    EXPECT_TRUE(log.Has(L"Data Auto Ex File : " + std::wstring(folder.Path(L"auto.xml"))));
}

TEST_F(Loading, AFailureKeepsWhatEarlierFilesBroughtInOrder)
{
    folder.WriteBytes(L"bad.xml", "<Data>");
    EXPECT_FALSE(filter.LoadXmlFilters(
        WriteRules(L"d.xml", Item(L"path=\"C:\\a\" type=\"1\"") + Item(L"path=\"C:\\a\\b\" type=\"1\"")),
        folder.Path(L"bad.xml"), nullptr));
    const FilterList rules = filter.RulesOf(L"C:\\");
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_STREQ(rules[0]->path, L"C:\\a\\b\\");
    EXPECT_TRUE(log.Has(L"Failed to load Data XML File"));
    EXPECT_TRUE(log.Has(L"File : " + std::wstring(folder.Path(L"bad.xml"))));
}

TEST_F(Loading, AnUnreadableAdvancedFileIsLoggedAndNoFailureOfTheWhole)
{
    folder.WriteBytes(L"bad.xml", "<Data>");
    EXPECT_TRUE(filter.LoadXmlFilters(WriteRules(L"d.xml", TreeItem()), nullptr, folder.Path(L"bad.xml")));
    EXPECT_TRUE(log.Has(L"Failed to load Advanced filters XML File"));
}

TEST_F(Loading, ATruncatedSelectionAddsNothingWhereverItIsCut)
{
    const std::string whole = "<Data><GlobalExclude>g</GlobalExclude><Item path=\"C:\\a\" type=\"1\"/></Data>";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        folder.WriteBytes(L"cut.xml", whole.substr(0, length));
        FilterList rules;
        EXPECT_FALSE(filter.LoadXmlFilter(folder.Path(L"cut.xml"), false, &rules, false, false)) << length;
        EXPECT_TRUE(rules.empty()) << length;
    }
}

TEST_F(Loading, AnotherRootIsNoSelection)
{
    folder.WriteBytes(L"other.xml", "<Item path=\"C:\\a\"/>");
    EXPECT_FALSE(filter.LoadXmlFilter(folder.Path(L"other.xml"), false, nullptr, false, false));
    EXPECT_TRUE(log.Has(L"The root element is not Data"));
}

TEST_F(Loading, AnEmptySelectionLoads) { EXPECT_TRUE(Load("").empty()); }

TEST_F(Loading, AdvancedMasksLoseTheirAsterisks)
{
    LoadAdvanced("<Item path=\"$$AllPaths$$\" type=\"1\" exclude=\"1\" mask=\"*.tmp;*.bak\"/>");
    EXPECT_EQ(Advanced(L"C:\\folder here\\x.tmp"), Excluded);
    EXPECT_EQ(Advanced(L"C:\\folder here\\x.bak"), Excluded);
    EXPECT_EQ(Advanced(L"C:\\folder here\\x.doc"), Included);
}

TEST_F(Loading, AnAdvancedExpressionThatDoesNotCompileIsLoggedAndKept)
{
    LoadAdvanced("<Item path=\"C:\\\" type=\"1\" includeSub=\"1\" exclude=\"1\" isregex=\"1\" mask=\"(\"/>");
    EXPECT_TRUE(log.Has(L"Failed to create regex filter"));
    EXPECT_TRUE(log.Has(L"#####[ERROR]##### Regex Error: missing closing parenthesis"));
}

TEST_F(Loading, AnAdvancedMaskType2SplitsAnInclude)
{
    LoadAdvanced("<Item path=\"C:\\\" type=\"1\" includeSub=\"1\" masktype=\"2\" mask=\"*.tmp\"/>");
    EXPECT_EQ(Advanced(L"C:\\x.tmp"), Excluded);
    EXPECT_EQ(Advanced(L"C:\\x.doc"), Included);
}

TEST_F(Loading, TheIncludeHalfOfASplitAdvancedRuleHasNoExpression)
{
    LoadAdvanced("<Item path=\"" + Narrow(tree.View()) +
                 "\" type=\"1\" includeSub=\"1\" masktype=\"2\" isregex=\"1\" mask=\"tmp$\"/>");
    FilterPtr deciding;
    EXPECT_EQ(Advanced(Write(L"x.doc"), &deciding), Included);
    ASSERT_TRUE(deciding);
    EXPECT_FALSE(deciding->isregex);
    EXPECT_FALSE(deciding->regex.Attempted());
    EXPECT_EQ(Advanced(Write(L"x.tmp")), Excluded);
}

TEST_F(Loading, AnAdvancedFolderRuleEndsInABackslashAndOnlyExcludeOneExcludes)
{
    LoadAdvanced("<Item path=\"C:\\folder\" type=\"1\" includeSub=\"1\" exclude=\"2\" additionalInfo=\"info\"/>");
    FilterPtr deciding;
    EXPECT_EQ(Advanced(L"C:\\folder\\x", &deciding), Included);
    ASSERT_TRUE(deciding);
    EXPECT_STREQ(deciding->path, L"C:\\folder\\");
    EXPECT_EQ(deciding->incEx, WatcherEnum::Include);
    EXPECT_STREQ(deciding->additionalInfo, L"info");
}

TEST_F(Loading, TooLongValuesOfAnAdvancedRuleAreDropped)
{
    LoadAdvanced("<Item path=\"C:\\folder\" type=\"1\" includeSub=\"1\" additionalInfo=\"" + std::string(279, 'i') +
                 "\" mask=\"" + std::string(5120, 'm') + "\"/>");
    FilterPtr deciding;
    EXPECT_EQ(Advanced(L"C:\\folder\\x", &deciding), Included);
    ASSERT_TRUE(deciding);
    EXPECT_TRUE(deciding->additionalInfo.IsEmpty());
    EXPECT_TRUE(deciding->mask.IsEmpty());
}

TEST_F(Loading, AdvancedRulesOfAFileAreInOrder)
{
    const CString advanced =
        WriteRules(L"a.xml", "<Item path=\"C:\\\" type=\"1\" includeSub=\"1\" mask=\".txt\"/>"
                             "<Item path=\"C:\\a\\b\" type=\"1\" includeSub=\"1\" mask=\".doc\"/>");
    ASSERT_TRUE(filter.LoadXmlFilters(nullptr, nullptr, advanced));
    EXPECT_EQ(filter.CheckForAdvancedInclusion(L"C:\\a\\b\\x.txt"), Included);
}

TEST_F(Loading, ARuleOfAShareFollowsItsVolumeToADrive)
{
    if (const std::string why = WhyDrivesShareAVolume(); !why.empty())
        GTEST_SKIP() << why;
    const std::string serial = std::to_string(SerialOfDrive('e'));
    // A drive that is mapped to a share shows the share's.
    const FilterList rules = Load("<Item path=\"\\\\server\\share\\data\" type=\"1\" vid=\"" + serial + "\"/>");
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_STREQ(rules[0]->path, L"E:\\data\\");
}

TEST_F(Loading, ThePathsOfEveryFileComeToTheSystemsForm)
{
    ASSERT_TRUE(filter.LoadXmlFilters(
        WriteRules(L"d.xml", "<Item path=\"C:/docs/\" type=\"1\" includeSub=\"1\"/>"),
        WriteRules(L"auto.xml", "<Item path=\"C:\\docs\\x\\..\\out\" type=\"1\" includeSub=\"1\" exclude=\"1\"/>"),
        WriteRules(L"a.xml",
                   "<Item path=\"\\\\?\\C:\\docs\\\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".tmp\"/>")));
    EXPECT_EQ(filter.CheckForInclusion(L"C:\\docs\\a", nullptr, false, false), Included);
    EXPECT_EQ(filter.CheckForInclusion(L"C:\\docs\\out\\a", nullptr, false, false), NotIncluded);
    EXPECT_EQ(filter.CheckForAdvancedInclusion(L"C:\\docs\\a.tmp"), Excluded);
    EXPECT_EQ(filter.RulesOf(L"c:\\").size(), 2u);
    EXPECT_TRUE(filter.Findings().Kept().empty());
}

TEST_F(Loading, ASpelledPathFollowsItsVolumeWhenItsRootIsInLowerCase)
{
    if (const std::string why = WhyDrivesShareAVolume(); !why.empty())
        GTEST_SKIP() << why;
    const std::string serial = std::to_string(SerialOfDrive('e'));
    const FilterList rules =
        Load("<Item path=\"d:/data/\" vid=\"" + serial + "\"/><Item path=\"D:/data/\" vid=\"" + serial + "\"/>");
    EXPECT_STREQ(rules.at(0)->path, L"E:\\data\\");
    EXPECT_STREQ(rules.at(1)->path, L"D:\\data\\");
}

TEST_F(Loading, ANameThatEndsInADotStaysWhenTheDiskHasItSo)
{
    const CString dotted = L"\\\\?\\" + InTree(L"dotted.");
    ASSERT_TRUE(CreateDirectoryW(dotted, nullptr));
    const auto pathOf = [&](const wchar_t* name) {
        return Load("<Item path=\"" + Narrow(InTree(name).View()) + "\" type=\"1\"/>").at(0)->path;
    };
    EXPECT_STREQ(pathOf(L"dotted."), InTree(L"dotted.\\"));
    EXPECT_STREQ(pathOf(L"undotted."), InTree(L"undotted\\"));
    Write(L"plain\\f.txt");
    EXPECT_STREQ(pathOf(L"plain."), InTree(L"plain\\"));
    EXPECT_TRUE(RemoveDirectoryW(dotted)); // the standard library does not find it
}

TEST_F(Loading, AnImpossiblePathIsRefusedWithItsItemAndLine)
{
    const CString file = WriteRules(L"d.xml", "\n<Item path=\"C:\\a\"/>\n  <Item path=\"docs\" type=\"1\"/>");
    ASSERT_TRUE(filter.LoadXmlFilters(file, nullptr, nullptr));
    EXPECT_EQ(filter.AllRules().size(), 1u);
    ASSERT_EQ(filter.Findings().Kept().size(), 1u);
    const RuleFinding& finding = filter.Findings().Kept()[0];
    EXPECT_EQ(finding.kind, RuleFinding::Kind::ItemRefused);
    EXPECT_STREQ(finding.file, file);
    EXPECT_EQ(finding.line, 3u);
    EXPECT_EQ(finding.item, 2u);
    EXPECT_TRUE(finding.Message().View().starts_with(L"line 3, item 2: path=\"docs\" is no path of a rule: "));
    const std::wstring line = std::wstring(file.View()) + L": " + finding.Message().GetString();
    const std::vector<LogCapture::Line> lines = log.Lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const LogCapture::Line& one) {
        return one.level == LogLevel::Error && one.text == line;
    }));
}

TEST_F(Loading, AMaskThatIsTooLongIsSaidWithItsItem)
{
    Load("<Item path=\"C:\\a\" mask=\"" + std::string(5120, 'm') + "\"/>");
    ASSERT_EQ(filter.Findings().Count(RuleFinding::Kind::ValueDropped), 1u);
    EXPECT_TRUE(filter.Findings().ChangeTheSelection());
    EXPECT_STREQ(filter.Findings().Kept()[0].Message(),
                 L"line 1, item 1: mask has 5120 characters, and 5119 at most are read; it is dropped, and the rule "
                 L"applies to everything");
}

TEST_F(Loading, WhatStandsBesideTheItemsAndIsNotReadIsSaid)
{
    Load(
        "<item path=\"C:\\a\"/><Item path=\"C:\\b\"/><GlobalExclude/><Item path=\"C:\\c\"><Item path=\"C:\\d\"/></Item>"
        "<GlobalExclude/><Plugin id=\"1\"><rootPath/></Plugin><Exclude/>");
    std::vector<std::wstring> said;
    for (const RuleFinding& finding : filter.Findings().Kept()) {
        EXPECT_EQ(finding.kind == RuleFinding::Kind::ItemRefused, said.size() == 1); // its rule is lost
        said.emplace_back(finding.Message().View().substr(0, 45));
    }
    EXPECT_EQ(said, (std::vector<std::wstring>{L"line 1, column 7: the element \"item\" is not k",
                                               L"line 1, item 1: the item stands before Global",
                                               L"line 1, item 2: an item inside an item is not",
                                               L"line 1, column 105: GlobalExclude stands ther",
                                               L"line 1, column 156: the element \"Exclude\" is "}));
}

TEST_F(Loading, TextThatIsNoItemIsSaidWithItsPlaceInBothKindsOfFiles)
{
    const CString file = WriteRules(L"d.xml", "\nItem path=\"C:\\a\"/>\n<Item path=\"C:\\b\" flags=\"x\"/>");
    Load("\nItem path=\"C:\\a\"/>\n<Item path=\"C:\\b\" flags=\"x\"/>");
    ASSERT_EQ(filter.Findings().Kept().size(), 2u);
    EXPECT_STREQ(filter.Findings().Kept()[0].Message(),
                 L"line 2, column 1: text outside of the items is not read: \"Item path=\"C:\\a\"/>\"");
    EXPECT_EQ(filter.Findings().Kept()[1].item, 1u);
    ASSERT_TRUE(filter.LoadXmlFilterAdvanced(file));
    EXPECT_EQ(filter.Findings().Kept()[0].line, 2u);
    EXPECT_FALSE(filter.Findings().ChangeTheSelection());
}

TEST_F(Loading, AnInclusionThatAnotherItemExcludesIsSaidWithBothItems)
{
    const std::string items =
        "<Item path=\"C:\\x\"/>\n<Item path=\"C:\\a\" type=\"1\" includeSub=\"1\" exclude=\"1\"/>\n<Other/>"
        "<Item path=\"c:/A/\" type=\"1\" includeSub=\"1\"/>";
    ASSERT_TRUE(filter.LoadXmlFilters(WriteRules(L"d.xml", items), nullptr, nullptr));
    ASSERT_EQ(filter.Findings().Kept().size(), 2u); // one is the unknown element
    EXPECT_STREQ(filter.Findings().Kept()[1].Message(),
                 L"line 3, item 3: the rule has no effect: item 2 excludes the same");
    Load(items); // as a list, of which the watcher refuses the second rule
    EXPECT_EQ(filter.Findings().Kept().size(), 1u);
}

TEST_F(Loading, ASecondAdvancedRuleForAllPathsIsSaid)
{
    ASSERT_TRUE(filter.LoadXmlFilterAdvanced(
        WriteRules(L"a.xml", "<Item path=\"$$ALLPATHS$$\" type=\"1\" exclude=\"1\" mask=\"*.tmp\"/>"
                             "<Item path=\"$$allpaths$$\" type=\"1\" exclude=\"1\" mask=\"*.bak\"/>")));
    ASSERT_EQ(filter.Findings().Kept().size(), 1u);
    EXPECT_EQ(filter.Findings().Kept()[0].item, 2u);
}

TEST_F(Loading, AMalformedFileIsAFindingWithLineAndColumn)
{
    folder.WriteBytes(L"bad.xml", "<Data>\n  <Item>\n</Data>");
    ASSERT_FALSE(filter.LoadXmlFilters(folder.Path(L"bad.xml"), nullptr, nullptr));
    ASSERT_EQ(filter.Findings().Kept().size(), 1u);
    const RuleFinding& finding = filter.Findings().Kept()[0];
    EXPECT_EQ(finding.kind, RuleFinding::Kind::FileUnread);
    EXPECT_STREQ(finding.Message(), L"line 3, column 1: End tag 'Data' at offset 16 does not match start tag 'Item' at "
                                    L"offset 9");
    EXPECT_TRUE(log.Has(std::wstring(folder.Path(L"bad.xml").View()) + L": " + finding.Message().GetString()));
}

TEST_F(Loading, EachLoadBeginsItsFindingsAnew)
{
    Load("<Item/>");
    EXPECT_EQ(filter.Findings().Kept().size(), 1u);
    Load("<Item path=\"C:\\a\"/>");
    EXPECT_TRUE(filter.Findings().Kept().empty());
}

TEST_F(Loading, VeryManyFindingsAreCountedAndTheFirstOnesListed)
{
    std::string items;
    for (int i = 0; i < 1000; ++i)
        items += "<Item path=\"x\"/>\n";
    Load(items);
    EXPECT_EQ(filter.Findings().Kept().size(), RuleFindings::MostKept);
    EXPECT_EQ(filter.Findings().Count(RuleFinding::Kind::ItemRefused), 1000u);
    EXPECT_EQ(filter.Findings().Kept().back().line, RuleFindings::MostKept);
    EXPECT_TRUE(log.Has(std::wstring(folder.Path(L"d.xml").View()) + L": 900 more findings like these are not listed"));
}

} // namespace

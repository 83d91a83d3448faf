// New rules are written into the selection file.
#include "orbwatcher4/core/selection/SelectionMerge.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "xml/Markup.h"

namespace
{

class SelectionMerging : public WatcherFixture
{
protected:
    static FilterPtr Rule(const wchar_t* path, const wchar_t* text)
    {
        auto rule = std::make_shared<Filter>();
        rule->path = path;
        rule->itemText = text;
        return rule;
    }
    // The document after the merge.
    std::wstring Merged(const wchar_t* document, FilterList rules)
    {
        CMarkup markup;
        EXPECT_TRUE(markup.SetDoc(document));
        watcher.XMLMerge(markup, rules);
        return std::wstring(markup.GetDoc());
    }
    void WriteData(const std::string& bytes) { folder.WriteBytes(L"data.xml", bytes); }
    std::string DataBytes() { return folder.ReadBytes(L"data.xml"); }

    const CString data = folder.Path(L"data.xml");
};

TEST_F(SelectionMerging, ARuleTakesThePlaceOfTheFirstItemWithItsPath)
{
    EXPECT_EQ(Merged(L"<Data><Item path=\"c:\\A\" x=\"1\">t</Item> <Item path=\"C:\\a\"/></Data>",
                     {Rule(L"C:\\a", L"<Item path=\"C:\\a\" x=\"2\"/>")}),
              L"<Data><Item path=\"C:\\a\" x=\"2\"/> <Item path=\"C:\\a\"/></Data>");
}

TEST_F(SelectionMerging, AFoldersItemMayBeWrittenWithoutItsLastBackslash)
{
    EXPECT_EQ(Merged(L"<Data><Item path=\"C:\\a\" type=\"1\"/></Data>", {Rule(L"C:\\a\\", L"<Item path=\"C:\\a\"/>")}),
              L"<Data><Item path=\"C:\\a\"/></Data>");
}

TEST_F(SelectionMerging, ARuleFindsItsItemInWhateverSpelling)
{
    EXPECT_EQ(
        Merged(L"<Data><Item path=\"C:/x/../a/\" type=\"1\"/></Data>", {Rule(L"C:\\a\\", L"<Item path=\"C:\\a\"/>")}),
        L"<Data><Item path=\"C:\\a\"/></Data>");
    EXPECT_EQ(Merged(L"<Data><Item path=\"C:\\a\" flags=\"4096\"/></Data>", {Rule(L"C:/a", L"<Item path=\"C:/a\"/>")}),
              L"<Data><Item path=\"C:\\a\" flags=\"4096\"/></Data>");
}

TEST_F(SelectionMerging, ARuleWithANewPathComesBehindTheLastItem)
{
    EXPECT_EQ(Merged(L"<Data><Item path=\"C:\\a\"/><Other/></Data>",
                     {Rule(L"C:\\b", L"<Item path=\"C:\\b\"/>"), Rule(L"C:\\c", L"<Item path=\"C:\\c\"/>")}),
              L"<Data><Item path=\"C:\\a\"/><Item path=\"C:\\b\"/><Item path=\"C:\\c\"/><Other/></Data>");
    EXPECT_EQ(Merged(L"<Data/>", {Rule(L"C:\\b", L"<Item path=\"C:\\b\"/>")}), L"<Data><Item path=\"C:\\b\"/></Data>");
}

TEST_F(SelectionMerging, AProtectedItemStaysAlsoWhereATwinFollows)
{
    for (const wchar_t* flags : {L"1024", L"4096", L"5120"}) {
        const std::wstring document = L"<Data><Item path=\"C:\\a\" flags=\"" + std::wstring(flags) +
                                      L"\"/><Item path=\"C:\\a\" flags=\"0\"/></Data>";
        const FilterPtr rule = Rule(L"C:\\a", L"<Item path=\"C:\\a\" x=\"2\"/>");
        EXPECT_EQ(Merged(document.c_str(), {rule}), document);
        EXPECT_TRUE(rule->itemText.IsEmpty());
    }
}

TEST_F(SelectionMerging, OfRulesWithOnePathTheLastStandsUnlessAnEarlierOneIsProtected)
{
    EXPECT_EQ(Merged(L"<Data/>", {Rule(L"C:\\a", L"<Item path=\"C:\\a\" x=\"1\"/>"),
                                  Rule(L"C:\\A", L"<Item path=\"C:\\A\" x=\"2\"/>")}),
              L"<Data><Item path=\"C:\\A\" x=\"2\"/></Data>");
    EXPECT_EQ(Merged(L"<Data/>", {Rule(L"C:\\a", L"<Item path=\"C:\\a\" flags=\"1024\"/>"),
                                  Rule(L"C:\\A", L"<Item path=\"C:\\A\" x=\"2\"/>")}),
              L"<Data><Item path=\"C:\\a\" flags=\"1024\"/></Data>");
}

TEST_F(SelectionMerging, TheTextsAreUsedUp)
{
    const FilterPtr rule = Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>"), without = Rule(L"C:\\b", L"");
    EXPECT_EQ(Merged(L"<Data/>", {rule, without}), L"<Data><Item path=\"C:\\a\"/></Data>");
    EXPECT_TRUE(rule->itemText.IsEmpty());
}

TEST_F(SelectionMerging, WithoutADataElementNothingIsMergedAndNothingUsedUp)
{
    const FilterPtr rule = Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>");
    EXPECT_EQ(Merged(L"<Other/>", {rule}), L"<Other/>");
    EXPECT_FALSE(rule->itemText.IsEmpty());
}

TEST_F(SelectionMerging, OfEqualTextsOnlyTheFirstStays)
{
    FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>"), Rule(L"C:\\b", L""),
                     Rule(L"C:\\a", L"<ITEM path=\"c:\\A\"/>"), Rule(L"C:\\c", L"<Item path=\"C:\\c\"/>")};
    watcher.CleanAddedFilters(rules);
    ASSERT_EQ(rules.size(), 4u);
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
    EXPECT_TRUE(rules[2]->itemText.IsEmpty());
    EXPECT_FALSE(rules[3]->itemText.IsEmpty());
}

TEST_F(SelectionMerging, OfTwoRulesWithOneTextTheFileGetsOne)
{
    WriteData("<Data/>");
    FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\x\"/>"), Rule(L"C:\\b", L"<ITEM PATH=\"c:\\X\"/>")};
    watcher.XMLMerge(data, rules);
    EXPECT_EQ(DataBytes(), "<Data><Item path=\"C:\\x\"/></Data>");
}

TEST_F(SelectionMerging, EveryOtherByteOfTheFileStaysInEveryEncoding)
{
    const std::string before = "<?xml version=\"1.0\"?>\r\n<!-- \xC3\xA4 --><Data a='1'>\n  <Unknown><![CDATA[<Item>]]>"
                               "</Unknown>\n  <Item  path='C:\\a' />\n",
                      after = "  <!-- end --></Data>\n<!-- tail -->\n";
    const std::string added = "<Item path=\"C:\\a\" x=\"\xE2\x82\xAC\"/>";
    for (const std::string mark : {"", "\xEF\xBB\xBF"}) {
        WriteData(mark + before + after);
        FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\" x=\"\u20ac\"/>")};
        watcher.XMLMerge(data, rules);
        const std::string replaced = before.substr(0, before.find("<Item  path")) + added + "\n";
        EXPECT_EQ(DataBytes(), mark + replaced + after);
    }
    const auto wide = [](const std::u16string& text) {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    };
    WriteData(wide(u"\uFEFF<Data><!--\u20ac--><Item path='C:\\a'/></Data>"));
    FilterList rules{Rule(L"C:\\b", L"<Item path=\"C:\\b\"/>")};
    watcher.XMLMerge(data, rules);
    EXPECT_EQ(DataBytes(), wide(u"\uFEFF<Data><!--\u20ac--><Item path='C:\\a'/><Item path=\"C:\\b\"/></Data>"));
}

TEST_F(SelectionMerging, AMissingFileIsWrittenAsAnEmptyDocumentAndTheTextsStay)
{
    FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>")};
    watcher.XMLMerge(data, rules);
    EXPECT_EQ(DataBytes(), "");
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
}

TEST_F(SelectionMerging, AMalformedFileStaysAsItIs)
{
    WriteData("<Data><Item path=\"C:\\a\"</Data>");
    FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>")};
    watcher.XMLMerge(data, rules);
    EXPECT_EQ(DataBytes(), "<Data><Item path=\"C:\\a\"</Data>");
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
    EXPECT_TRUE(log.Has(L"Rules could not be merged, the selection is malformed: " + std::wstring(data)));
}

// Another process has it open, and shares it for moving alone.
FileHandle Withheld(const CString& path)
{
    return FileHandle(
        CreateFileW(path, GENERIC_READ, FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

TEST_F(SelectionMerging, AFileThatCannotBeReadIsKeptBeside)
{
    WriteData("<Data/>");
    FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>")};
    {
        const FileHandle other = Withheld(data);
        watcher.XMLMerge(data, rules);
    }
    EXPECT_EQ(DataBytes(), "");
    EXPECT_EQ(folder.ReadBytes(L"data.xml.bad"), "<Data/>");
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
}

TEST_F(SelectionMerging, AFileThatCanNeitherBeReadNorKeptBesideStaysAsItIs)
{
    WriteData("<Data/>");
    folder.WriteBytes(L"data.xml.bad\\in the way", "");
    FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>")};
    {
        const FileHandle other = Withheld(data);
        watcher.XMLMerge(data, rules);
    }
    EXPECT_EQ(DataBytes(), "<Data/>");
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
}

TEST_F(SelectionMerging, ARuleThatTheSelectionRefusesKeepsItsTextAndTheOthersGetIn)
{
    WriteData("<Data/>");
    const FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\""), Rule(L"C:\\b", L"<Item path=\"C:\\b\"/>")};
    EXPECT_FALSE(SelectionMerge::MergeIntoFile(data, rules));
    EXPECT_EQ(DataBytes(), "<Data><Item path=\"C:\\b\"/></Data>");
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
    EXPECT_TRUE(log.Has(L"A rule could not be merged: C:\\a"));
}

TEST_F(SelectionMerging, ARuleThatWouldNotReadBackLeavesTheSelectionAsItIs)
{
    WriteData("<Data/>");
    // In UTF-8 the half of a pair would take the quotation mark along.
    const FilterList rules{Rule(L"C:\\\xD800", L"<Item path=\"C:\\\xD800\"/>")};
    EXPECT_FALSE(SelectionMerge::MergeIntoFile(data, rules));
    EXPECT_EQ(DataBytes(), "<Data/>");
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
}

TEST_F(SelectionMerging, AFileThatCannotBeWrittenStaysAsItIsAndTheTextsStay)
{
    WriteData("<Data/>");
    ASSERT_TRUE(SetFileAttributesW(data, FILE_ATTRIBUTE_READONLY));
    FilterList rules{Rule(L"C:\\a", L"<Item path=\"C:\\a\"/>")};
    watcher.XMLMerge(data, rules);
    ASSERT_TRUE(SetFileAttributesW(data, FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(DataBytes(), "<Data/>");
    EXPECT_FALSE(rules[0]->itemText.IsEmpty());
    EXPECT_TRUE(log.Has(L"Rules could not be merged, the selection cannot be written: " + std::wstring(data)));
}

TEST_F(SelectionMerging, CostsWhatTheFileAndTheRulesCostTogether)
{
    const auto work = [](int items, int rulesOfThem) {
        std::wstring document = L"<Data>";
        for (int i = 0; i < items; ++i)
            document += L"<Item path=\"C:\\d" + std::to_wstring(i) + L"\" flags=\"0\"/>";
        FilterList rules;
        for (int i = 0; i < rulesOfThem; ++i) {
            const std::wstring path = L"C:\\d" + std::to_wstring(i * 2 * items / rulesOfThem);
            rules.push_back(Rule(path.c_str(), (L"<Item path=\"" + path + L"\" flags=\"1\"/>").c_str()));
        }
        CMarkup markup;
        EXPECT_TRUE(markup.SetDoc((document + L"</Data>").c_str()));
        const std::uint64_t before = markup.Work();
        SelectionMerge::Merge(markup, rules);
        const std::uint64_t used = markup.Work() - before;
        markup.GetDoc();
        return used;
    };
    const std::uint64_t small = work(20000, 100), large = work(200000, 1000);
    EXPECT_LT(large, small * 11);
}

TEST_F(SelectionMerging, ARuleKeepsItsSpellingInTheFileAndHoldsInTheSystemsForm)
{
    WriteData("<Data></Data>");
    watcher.SetDataXmlPath(data);
    const CString rules = WriteRules(L"new.xml", "<Item path=\"C:/no such/\" type=\"1\" includeSub=\"1\"/>");
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 1), RulesQueued);
    EXPECT_EQ(DataBytes(), "<Data><Item path=\"C:/no such/\" type=\"1\" includeSub=\"1\"/></Data>");
    EXPECT_EQ(watcher.Explain(L"C:\\no such\\f").decision, Included);
}

TEST_F(SelectionMerging, RulesThatAreAddedAreInTheSelectionFileAfterwards)
{
    Select("");
    const CString rules = WriteRules(L"new.xml", TreeItem());
    EXPECT_EQ(watcher.AddNewQueueItem(rules, true, nullptr, 1), RulesQueued);
    EXPECT_EQ(DataBytes(), "<Data>" + TreeItem() + "</Data>");
    EXPECT_EQ(GetFileAttributesW(rules), INVALID_FILE_ATTRIBUTES);
}

TEST_F(SelectionMerging, RulesThatCannotGetIntoTheSelectionFileAreRefusedAndTheirFileIsKept)
{
    Select("");
    const CString rules = WriteRules(L"new.xml", TreeItem());
    ASSERT_TRUE(SetFileAttributesW(data, FILE_ATTRIBUTE_READONLY));
    const CString file = Write(L"f.txt");
    EXPECT_EQ(watcher.AddNewQueueItem(rules, true, nullptr, 0), RulesNotLoaded);
    ASSERT_TRUE(SetFileAttributesW(data, FILE_ATTRIBUTE_NORMAL));
    EXPECT_NE(GetFileAttributesW(rules), INVALID_FILE_ATTRIBUTES);
    // At the next start they would be gone: they are not there now either.
    EXPECT_EQ(watcher.Explain(file).decision, NotIncluded);
    EXPECT_FALSE(Pending(file));
    EXPECT_EQ(watcher.AddNewQueueItem(rules, true, nullptr, 0), RulesQueued);
    EXPECT_TRUE(Pending(file));
}

} // namespace

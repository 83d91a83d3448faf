// One item of a selection file, without a machine.
#include "orbwatcher4/filter/RuleReader.h"

#include "xml/Markup.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

class Drives final : public RuleDrives
{
public:
    std::vector<std::wstring> included;
    std::wstring vid;

    CString NameOf(const CString& path) override
    {
        return path.View() == L"C:\\DOCUME~1" ? CString(L"Documents and Settings") : CString();
    }
    void Includes(const CString& path) override { included.emplace_back(path.View()); }
    void Relocate(Filter& rule, std::wstring_view wanted) override
    {
        vid = wanted;
        rule.vid = wanted == L"404" ? 404 : 0;
        rule.volumeFound = wanted != L"404";
        rule.path.Replace(L"D:", L"E:");
    }
};

class Log final : public RuleLog
{
public:
    std::vector<std::wstring> lines;
    std::vector<std::pair<RuleFinding::Kind, std::wstring>> findings;

    void Found(RuleFinding::Kind kind, const std::wstring& text) override { findings.emplace_back(kind, text); }
    void InfoTooLong(const CString&) override { lines.push_back(L"info"); }
    void MaskTooLong() override { lines.push_back(L"mask"); }
    void PatternRefused(const CString& error) override { lines.emplace_back(error.View()); }
};

class ReadingRules : public testing::Test
{
protected:
    Drives drives;
    Log log;
    RuleReader reader{log};
    CMarkup document;

    void Parse(const std::wstring& attributes)
    {
        ASSERT_TRUE(document.SetDoc((L"<Data><Item " + attributes + L"/></Data>").c_str()));
        ASSERT_TRUE(document.FindElement(L"Data") && document.EnterElement() && document.FindElement(L"Item"));
    }
    FilterList Read(const std::wstring& attributes, const RuleReading& reading = {})
    {
        Parse(attributes);
        FilterList rules;
        reader.Read(document, reading, drives, rules);
        return rules;
    }
    FilterList ReadAdvanced(const std::wstring& attributes)
    {
        Parse(attributes);
        FilterList rules;
        reader.ReadAdvanced(document, drives, rules);
        return rules;
    }
};

TEST_F(ReadingRules, AnItemWithoutAPathIsNoneAndAsksNothing)
{
    EXPECT_TRUE(Read(L"type='1' vid='7'").empty());
    EXPECT_TRUE(drives.included.empty());
    EXPECT_TRUE(drives.vid.empty());
}

TEST_F(ReadingRules, TheDrivesHearThePathAsWrittenAndLeadItToItsVolume)
{
    const FilterList rules = Read(L"path='D:\\docs' type='1' vid='7'");
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_STREQ(rules[0]->path, L"E:\\docs\\");
    EXPECT_EQ(drives.included, std::vector<std::wstring>{L"D:\\docs"});
    EXPECT_EQ(drives.vid, L"7");
}

TEST_F(ReadingRules, AnExclusionAsksAboutNoInclude)
{
    ASSERT_EQ(Read(L"path='D:\\x' exclude='1'").size(), 1u);
    EXPECT_TRUE(drives.included.empty());
}

TEST_F(ReadingRules, ASplitItemGivesItsIncludeHalfFirstAndWithoutAJob)
{
    const FilterList rules = Read(L"path='D:\\' type='1' masktype='2' mask='.tmp' jobid='3'");
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules[0]->incEx, WatcherEnum::Include);
    EXPECT_TRUE(rules[0]->mask.IsEmpty());
    EXPECT_EQ(rules[0]->jobid, 0);
    EXPECT_EQ(rules[1]->incEx, WatcherEnum::Exclude);
    EXPECT_STREQ(rules[1]->mask, L".tmp");
    EXPECT_EQ(rules[1]->jobid, 3);
}

TEST_F(ReadingRules, WhatIsTooLongIsDroppedAndTold)
{
    const FilterList rules = Read(L"path='D:\\f' additionalInfo='" + std::wstring(279, L'i') + L"' mask='" +
                                  std::wstring(5120, L'm') + L"' PRMask='" + std::wstring(5120, L'p') + L"'");
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_TRUE(rules[0]->additionalInfo.IsEmpty());
    EXPECT_TRUE(rules[0]->mask.IsEmpty());
    EXPECT_EQ(log.lines, (std::vector<std::wstring>{L"info", L"mask"}));
}

TEST_F(ReadingRules, APatternThatIsNoneIsToldAndTheAdvancedRuleStays)
{
    const FilterList rules = ReadAdvanced(L"path='D:\\' type='1' isregex='1' mask='('");
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_EQ(rules[0]->regex.GetStatus(), FilterRegex::CompilationFailed);
    EXPECT_EQ(log.lines, std::vector<std::wstring>{L"missing closing parenthesis"});
}

TEST_F(ReadingRules, APathInAnotherSpellingComesToTheSystemsForm)
{
    EXPECT_STREQ(Read(L"path='C:/docs' type='1' includeSub='1'").at(0)->path, L"C:\\docs\\");
    EXPECT_STREQ(Read(L"path='C:\\a\\..\\f.txt'").at(0)->path, L"C:\\f.txt");
    EXPECT_STREQ(Read(L"path='C:' type='1' includeSub='1'").at(0)->path, L"C:\\");
    EXPECT_STREQ(ReadAdvanced(L"path='C:/docs' type='1' includeSub='1'").at(0)->path, L"C:\\docs\\");
    EXPECT_STREQ(Read(L"path='C:\\DOCUME~1' type='1' includeSub='1'").at(0)->path, L"C:\\Documents and Settings\\");
    EXPECT_TRUE(log.findings.empty());
}

TEST_F(ReadingRules, TheDrivesAreAskedInTheSystemsForm)
{
    Read(L"path='//server/share/d' type='1' includeSub='1'");
    EXPECT_EQ(drives.included, std::vector<std::wstring>{L"\\\\server\\share\\d"});
    EXPECT_STREQ(Read(L"path='D:/docs' vid='7'").at(0)->path, L"E:\\docs");
}

TEST_F(ReadingRules, AnImpossiblePathIsNoRuleAndRefusedByName)
{
    for (const wchar_t* path : {L"docs", L"C:docs", L"\\docs", L"\\\\.\\x", L"\\\\server", L"$$ALLPATHS$$"}) {
        log.findings.clear();
        EXPECT_TRUE(Read(std::wstring(L"type='1' includeSub='1' path='") + path + L"'").empty());
        ASSERT_EQ(log.findings.size(), 1u);
        EXPECT_EQ(log.findings[0].first, RuleFinding::Kind::ItemRefused);
        EXPECT_NE(log.findings[0].second.find(path), std::wstring::npos);
    }
    log.findings.clear();
    EXPECT_TRUE(ReadAdvanced(L"path='docs'").empty());
    EXPECT_TRUE(ReadAdvanced(L"path='$$ALLPATHS$$\\' type='1'").empty());
    EXPECT_EQ(log.findings.size(), 2u);
}

TEST_F(ReadingRules, ARuleForAllPathsStaysAsItIsWritten)
{
    EXPECT_STREQ(ReadAdvanced(L"path='$$allpaths$$' type='1' mask='*.tmp'").at(0)->path, L"$$allpaths$$");
    EXPECT_TRUE(log.findings.empty());
}

TEST_F(ReadingRules, OrdinaryItemsHaveNoFindings)
{
    Read(L"path='D:\\R&amp;D\\' type='1' includeSub='1' exclude='0' flags='-1' pluginId='-10' vid='4294967295' "
         L"mask='.a;.b' "
         L"masktype='0' PRMask='' jobid=' 7' additionalInfo='' pluginName='x'");
    Read(L"path='D:\\~$a.txt'");
    Read(L"path='D:\\' type='1' includeSub='1' mask='.tmp' masktype='2'");
    ReadAdvanced(L"path='D:\\' type='1' includeSub='1' mask='*.tmp;*.bak' pluginId='3' isregex='0'");
    ReadAdvanced(L"path='D:\\' type='1' includeSub='1' mask='a,b *?' isregex='1'");
    EXPECT_TRUE(log.findings.empty()) << std::string(log.findings[0].second.begin(), log.findings[0].second.end());
}

TEST_F(ReadingRules, WhatIsProbablyNotMeantIsReadAsItStandsAndSaid)
{
    const std::vector<std::pair<std::wstring, std::wstring>> mistakes = {
        {L"path='C:\\a' type='1' includesub='1' includeSub='1'",
         L"\"includesub\" is not known and has no effect; is includeSub meant?"},
        {L"path='C:\\a' type='1' includeSub='true'",
         L"includeSub=\"true\" is no number and counts as 0; write includeSub=\"1\""},
        {L"path='C:\\a' exclude='yes'", L"exclude=\"yes\" is no number and counts as 0; write exclude=\"1\""},
        {L"path='C:\\a' exclude='2'", L"exclude=\"2\" makes a rule that includes; only exclude=\"1\" excludes"},
        {L"path='C:\\a' jobid='3 and 4'", L"jobid=\"3 and 4\" has text behind its number and counts as 3"},
        {L"path='C:\\a' flags='4294967296'", L"flags=\"4294967296\" does not fit into 32 bits and counts as 0"},
        {L"path='C:\\a' vid='12AB'", L"vid=\"12AB\" has text behind its number and counts as 12"},
        {L"path='C:\\a' mask='*.odt'",
         L"the ending \"*.odt\" holds a wildcard, and there are none: it matches no name; is \".odt\" meant?"},
        {L"path='C:\\a' mask='.odt,.txt'", L"several are separated by \";\""},
        {L"path='C:\\a' mask='.odt; .txt'", L"\" .txt\" begins or ends with a space"},
        {L"path='C:\\a' mask='*.odt,*.txt'", L"several are separated by \";\"; is \".odt;.txt\" meant?"},
        {L"path='C:\\a' mask='.tmp;*.odt| *.txt'", L"is \".tmp;.odt;.txt\" meant?"},
        {L"path='C:\\a' mask='*'", L"it matches no name"},
        {L"path='C:\\a' mask=''", L"mask=\"\" has no value, and the rule applies to everything"},
        {L"path='C:\\a' mask=", L"mask= has no value, and the rule applies to everything"},
        {L"path='C:\\a' type=''", L"type=\"\" has no value and counts as 0"},
        {L"path='' type='1' includeSub='1'", L"path=\"\" has no value, and the item is no rule"},
        {L"path='C:\\a' pluginName= jobid='3'", L"pluginName= has no value: what stands behind it, jobid='3', was"},
        {L"path='C:\\R&D'", L"the value of \"path\" holds an ampersand"},
        {L"path='C:\\a' vid='404'", L"vid=\"404\" is the number of no drive that is there"},
        {L"path='C:\\a' mask=';'", L"names no ending"},
        {L"path='C:\\a' PRMask='*.log'", L"\"*.log\" holds a wildcard"},
        {L"path='C:\\a' PRMask='.log' exclude='1'", L"exclude=\"1\" has no effect"},
        {L"path='C:\\a' masktype='2'", L"has no effect without a mask"},
        {L"path='C:\\a' masktype='2' mask='.x' exclude='1'", L"has no effect on an exclusion"},
        {L"path='C:\\a\\'", L"is type=\"1\" meant?"},
        {L"path='C:\\a' includeSub='1'", L"is type=\"1\" meant?"},
        {L"path='C:\\a' type='1'", L"is includeSub=\"1\" meant?"},
        {L"path='C:\\*.odt'", L"a path has no wildcards"},
        {L"path='C:\\M&uuml;ller'", L"XML does not know"},
        {L"path='C:\\ABCDEF~1'", L"looks like a short name"},
        {L"path='C:\\a \\b'", L"ends in a dot or a space"},
        {L"path='C:\\a' path='C:\\b'", L"\"path\" stands there again; the first one counts"},
        {L"path=C:\\a", L"no value in quotation marks"},
        {L"path='C:\\a' isregex='1'", L"is read in the advanced filters only"},
        {L"path='C:\\a' additionalInfo='" + std::wstring(279, L'i') + L"'",
         L"additionalInfo has 279 characters, and 278"},
        {L"type='1'", L"has no path and is no rule"},
    };
    for (const auto& [attributes, text] : mistakes) {
        log.findings.clear();
        Read(attributes);
        ASSERT_EQ(log.findings.size(), 1u) << std::string(attributes.begin(), attributes.end());
        const auto& [kind, said] = log.findings[0];
        EXPECT_EQ(kind, RuleFinding::Kind::Suspicious);
        EXPECT_NE(said.find(text), std::wstring::npos) << std::string(said.begin(), said.end());
    }
}

TEST_F(ReadingRules, AVolumeThatNoDriveHasIsSaidOnce)
{
    Read(L"path='C:\\a' vid='404'");
    Read(L"path='C:\\b' vid='404'");
    EXPECT_EQ(log.findings.size(), 1u);
}

TEST_F(ReadingRules, AValueThatIsLeftEmptyOnPurposeHasNoFinding)
{
    Read(L"path='C:\\a' vid='' flags='' masktype='' pluginId='' pluginName='' jobid='' additionalInfo='' PRMask=''");
    EXPECT_TRUE(log.findings.empty());
}

TEST_F(ReadingRules, AnItemWhosePathHasAnotherNameIsToldTheName)
{
    EXPECT_TRUE(Read(L"Path='C:\\a' type='1' includeSub='1' mask='.a'").empty());
    ASSERT_EQ(log.findings.size(), 2u);
    EXPECT_NE(log.findings[1].second.find(L"is path meant?"), std::wstring::npos);
}

TEST_F(ReadingRules, WhatIsProbablyNotMeantInAnAdvancedFilterIsSaid)
{
    const std::vector<std::pair<std::wstring, std::wstring>> mistakes = {
        {L"path='' type='1'", L"applies to no drive"},
        {L"path='$$ALLPATHS$$' mask='*.tmp'", L"needs type=\"1\""},
        {L"path='C:\\' type='1' includeSub='1' mask='a*.tmp'", L"asterisks are removed"},
        {L"path='C:\\' type='1' includeSub='1' vid='1'", L"is read in a selection only"},
        {L"path='C:\\' type='1' includeSub='1' regex='1'", L"is isregex meant?"},
    };
    for (const auto& [attributes, text] : mistakes) {
        log.findings.clear();
        ReadAdvanced(attributes);
        ASSERT_EQ(log.findings.size(), 1u) << std::string(attributes.begin(), attributes.end());
        const std::wstring& said = log.findings[0].second;
        EXPECT_NE(said.find(text), std::wstring::npos) << std::string(said.begin(), said.end());
    }
}

TEST_F(ReadingRules, AValueThatIsDroppedAndChangesTheRuleIsSaidAsSuch)
{
    const std::wstring path = L"path='C:\\a' type='1' includeSub='1' ";
    Read(path + L"mask='" + std::wstring(5120, L'm') + L"'");
    Read(path + L"PRMask='" + std::wstring(5120, L'm') + L"'");
    ReadAdvanced(path + L"isregex='1' mask='('");
    ASSERT_EQ(log.findings.size(), 3u);
    for (const auto& [kind, text] : log.findings)
        EXPECT_EQ(kind, RuleFinding::Kind::ValueDropped);
    EXPECT_NE(log.findings[0].second.find(L"the rule applies to everything"), std::wstring::npos);
    EXPECT_NE(log.findings[2].second.find(L"missing closing parenthesis"), std::wstring::npos);
}

// The memory of a large selection.
TEST_F(ReadingRules, RulesShareTheTextsThatTheirItemsRepeatAndTheirMemory)
{
    const wchar_t* const item =
        L"path=\"C:\\a\" type=\"1\" pluginName=\"Mail\" mask=\".doc;.odt\" additionalInfo=\"x\"";
    Read(item); // the first one stands alone
    const FilterPtr first = Read(item).at(0), second = Read(item).at(0);
    EXPECT_EQ(first->pluginName.GetString(), second->pluginName.GetString());
    EXPECT_EQ(first->mask.GetString(), second->mask.GetString());
    EXPECT_EQ(first->additionalInfo.GetString(), second->additionalInfo.GetString());
    EXPECT_FALSE(first.owner_before(second) || second.owner_before(first));
}

TEST_F(ReadingRules, TheFirstRuleOfAFileKeepsNoMemoryForOthers)
{
    const std::weak_ptr<Filter> first = Read(L"path='C:\\a'").at(0);
    const FilterPtr second = Read(L"path='C:\\b'").at(0);
    EXPECT_TRUE(first.expired());
}

TEST_F(ReadingRules, AnItemOfOtherTextsHasItsOwn)
{
    EXPECT_EQ(Read(L"path=\"C:\\a\" pluginName=\"Mail\"").at(0)->pluginName, L"Mail");
    EXPECT_EQ(Read(L"path=\"C:\\a\" pluginName=\"Music\"").at(0)->pluginName, L"Music");
    EXPECT_EQ(Read(L"path=\"C:\\a\"").at(0)->pluginName, L"");
}

} // namespace

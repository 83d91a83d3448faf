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

    void Includes(const CString& path) override { included.emplace_back(path.View()); }
    void Relocate(Filter& rule, std::wstring_view wanted) override
    {
        vid = wanted;
        rule.path.Replace(L"D:", L"E:");
    }
};

class Log final : public RuleLog
{
public:
    std::vector<std::wstring> lines;

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
        reader.ReadAdvanced(document, rules);
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
    EXPECT_EQ(log.lines, std::vector<std::wstring>{L"missing )"});
}

// What a large selection costs in memory.
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

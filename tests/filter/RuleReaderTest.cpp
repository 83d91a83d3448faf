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
    void Relocate(Filter& rule, const CString& wanted) override
    {
        vid = wanted.View();
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
    CMarkup document;

    void Parse(const std::wstring& attributes)
    {
        ASSERT_TRUE(document.SetDoc((L"<Data><Item " + attributes + L"/></Data>").c_str()));
        ASSERT_TRUE(document.FindElement(L"Data") && document.EnterElement() && document.FindElement(L"Item"));
    }
    FilterList Read(const std::wstring& attributes, const RuleReading& reading = {})
    {
        Parse(attributes);
        return ReadRules(document, reading, drives, log);
    }
    FilterList ReadAdvanced(const std::wstring& attributes)
    {
        Parse(attributes);
        return ReadAdvancedRules(document, log);
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

} // namespace

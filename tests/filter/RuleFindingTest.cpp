#include "orbwatcher4/filter/RuleFinding.h"

#include <gtest/gtest.h>

namespace
{

using Kind = RuleFinding::Kind;

RuleFinding Of(Kind kind)
{
    RuleFinding finding;
    finding.kind = kind;
    return finding;
}

TEST(FindingsOfRules, AMessageBeginsWithThePlace)
{
    EXPECT_STREQ((RuleFinding{Kind::Suspicious, L"f", 12, 3, 4, L"x"}.Message()), L"line 12, item 4: x");
    EXPECT_STREQ((RuleFinding{Kind::FileUnread, L"f", 12, 3, 0, L"x"}.Message()), L"line 12, column 3: x");
    EXPECT_STREQ((RuleFinding{Kind::FileUnread, L"f", 0, 0, 0, L"x"}.Message()), L"x");
}

TEST(FindingsOfRules, OfEachKindTheFirstOnesAreKeptAndAllAreCounted)
{
    RuleFindings findings;
    for (std::size_t i = 0; i < RuleFindings::MostKept + 5; ++i)
        EXPECT_EQ(findings.Add(Of(Kind::Suspicious)), i < RuleFindings::MostKept);
    EXPECT_FALSE(findings.ChangeTheSelection());
    EXPECT_TRUE(findings.Add(Of(Kind::ItemRefused)));
    EXPECT_EQ(findings.Kept().size(), RuleFindings::MostKept + 1);
    EXPECT_EQ(findings.Count(Kind::Suspicious), RuleFindings::MostKept + 5);
    EXPECT_EQ(findings.More(), 5u);
    EXPECT_TRUE(findings.ChangeTheSelection());
}

TEST(FindingsOfRules, ThoseOfOneFileComeInTheOrderOfTheirLines)
{
    RuleFindings findings;
    const auto add = [&](std::uint32_t line, std::uint32_t column) {
        findings.Add({Kind::Suspicious, L"f", line, column, 0, L"x"});
    };
    add(9, 1); // of the file before
    add(7, 1);
    add(3, 8);
    add(3, 2);
    findings.SortByLine(1);
    std::vector<std::uint32_t> lines;
    for (const RuleFinding& finding : findings.Kept())
        lines.push_back(finding.line * 10 + finding.column);
    EXPECT_EQ(lines, (std::vector<std::uint32_t>{91, 32, 38, 71}));
}

TEST(FindingsOfRules, ThoseOfTwoLoadsAreCountedTogether)
{
    RuleFindings first, second;
    for (std::size_t i = 0; i < RuleFindings::MostKept - 1; ++i)
        first.Add(Of(Kind::Suspicious));
    for (std::size_t i = 0; i < RuleFindings::MostKept + 7; ++i)
        second.Add(Of(Kind::Suspicious));
    first.Append(second);
    EXPECT_EQ(first.Kept().size(), RuleFindings::MostKept);
    EXPECT_EQ(first.Count(Kind::Suspicious), 2 * RuleFindings::MostKept + 6);
    EXPECT_EQ(first.More(), RuleFindings::MostKept + 6);
}

} // namespace

#include "orbwatcher4/filter/Contradictions.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

FilterPtr Rule(const wchar_t* path, WatcherEnum::IncEx kind, const wchar_t* mask = L"", bool includeSub = true)
{
    auto rule = std::make_shared<Filter>();
    rule->path = path;
    rule->incEx = kind;
    rule->mask = mask;
    rule->includeSub = includeSub;
    rule->type = 1;
    return rule;
}

using Numbers = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

Numbers Found(const std::vector<FilterPtr>& rules)
{
    Contradictions contradictions;
    for (std::uint32_t item = 1; item <= rules.size(); ++item)
        contradictions.Add(rules[item - 1], item);
    Numbers numbers;
    for (const Contradictions::Pair& pair : contradictions.Find())
        numbers.emplace_back(pair.included, pair.excluded);
    return numbers;
}

constexpr auto Include = WatcherEnum::Include;
constexpr auto Exclude = WatcherEnum::Exclude;

TEST(RulesThatContradict, AnInclusionBesideAnExclusionOfTheSameIsFoundInWhateverCaseAndOrder)
{
    EXPECT_EQ(Found({Rule(L"C:\\a\\", Include), Rule(L"c:\\A\\", Exclude)}), (Numbers{{1, 2}}));
    EXPECT_EQ(Found({Rule(L"C:\\a\\", Exclude), Rule(L"C:\\b\\", Include), Rule(L"c:\\A\\", Include)}),
              (Numbers{{3, 1}}));
    EXPECT_EQ(Found({Rule(L"C:\\a\\", Include, L".x"), Rule(L"C:\\a\\", Exclude, L".X")}), (Numbers{{1, 2}}));
}

TEST(RulesThatContradict, WhatLeavesSomethingIsNoContradiction)
{
    EXPECT_TRUE(Found({Rule(L"C:\\a\\", Include), Rule(L"C:\\a\\", Exclude, L".x")}).empty());
    EXPECT_TRUE(Found({Rule(L"C:\\a\\", Include), Rule(L"C:\\a\\b\\", Exclude)}).empty());
    EXPECT_TRUE(Found({Rule(L"C:\\a\\", Include), Rule(L"C:\\a\\", Exclude, L"", false)}).empty());
    EXPECT_TRUE(Found({Rule(L"C:\\a\\", Include), Rule(L"C:\\a\\", Include)}).empty());
    EXPECT_TRUE(Found({Rule(L"C:\\a\\", Exclude), Rule(L"C:\\a\\", Exclude)}).empty());
}

} // namespace

// Whether something below a folder may be selected, asked without walking the folder.
#include "orbwatcher4/filter/Decisions.h"
#include "orbwatcher4/filter/RuleIndex.h"
#include "tests/filter/RandomRules.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

FilterPtr Rule(WatcherEnum::IncEx kind, const wchar_t* path, const wchar_t* mask = L"")
{
    auto rule = std::make_shared<Filter>();
    rule->incEx = kind;
    rule->path = path;
    rule->mask = mask;
    rule->type = path[wcslen(path) - 1] == L'\\';
    rule->includeSub = rule->type != 0;
    return rule;
}

FilterPtr Include(const wchar_t* path, const wchar_t* mask = L"") { return Rule(WatcherEnum::Include, path, mask); }
FilterPtr Exclude(const wchar_t* path, const wchar_t* mask = L"") { return Rule(WatcherEnum::Exclude, path, mask); }

FilterPtr WithoutSub(FilterPtr rule)
{
    rule->includeSub = false;
    return rule;
}

FilterPtr ForRecovery(FilterPtr rule)
{
    rule->flags |= RuleFlags::DisasterRecovery;
    return rule;
}

bool MaySelect(FilterList rules, std::wstring_view folder, FilterList advanced = {})
{
    Decisions::SortRules(rules);
    Decisions::SortRules(advanced);
    return Decisions::MaySelectBelow(rules, advanced, folder);
}

TEST(MaySelectBelow, IsTrueBelowAnIncludedFolder)
{
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\")}, L"C:\\docs\\"));
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\")}, L"c:\\DOCS\\a\\b\\"));
}

TEST(MaySelectBelow, IsTrueBelowAMaskThatNoFolderEndsIn)
{
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\", L".doc")}, L"C:\\docs\\new\\"));
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\", L".doc"), Exclude(L"C:\\docs\\", L".tmp")}, L"C:\\docs\\new\\"));
}

TEST(MaySelectBelow, IsTrueAboveWhatIsIncludedDeeper)
{
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\a\\b\\")}, L"C:\\"));
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\a\\b\\")}, L"C:\\docs\\"));
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\a.txt")}, L"C:\\docs\\"));
    EXPECT_TRUE(MaySelect({WithoutSub(Include(L"C:\\docs\\a\\"))}, L"C:\\docs\\"));
}

TEST(MaySelectBelow, IsTrueForADeeperIncludeInsideAnExcludedFolder)
{
    EXPECT_TRUE(MaySelect({Exclude(L"C:\\docs\\"), Include(L"C:\\docs\\a\\b\\")}, L"C:\\docs\\"));
    EXPECT_TRUE(MaySelect({Exclude(L"C:\\docs\\"), Include(L"C:\\docs\\a\\b.txt")}, L"C:\\docs\\a\\"));
}

TEST(MaySelectBelow, IsFalseForAnUnrelatedFolder)
{
    EXPECT_FALSE(MaySelect({}, L"C:\\docs\\"));
    EXPECT_FALSE(MaySelect({Include(L"C:\\docs\\"), Include(L"C:\\docs\\a.txt")}, L"C:\\music\\"));
    EXPECT_FALSE(MaySelect({Include(L"C:\\docs\\", L".doc")}, L"C:\\doc\\"));
    EXPECT_FALSE(MaySelect({Include(L"C:\\docs\\a.txt")}, L"C:\\docs\\a\\"));
}

TEST(MaySelectBelow, IsFalseInAnExcludedFolderWithNothingIncludedInside)
{
    const FilterList rules{Include(L"C:\\docs\\"), Exclude(L"C:\\docs\\tmp\\"), Include(L"C:\\docs\\a\\")};
    EXPECT_FALSE(MaySelect(rules, L"C:\\docs\\tmp\\"));
    EXPECT_FALSE(MaySelect(rules, L"C:\\docs\\tmp\\deep\\"));
    EXPECT_TRUE(MaySelect(rules, L"C:\\docs\\a\\"));
}

TEST(MaySelectBelow, IsFalseInsideAFolderThatIsIncludedWithoutItsSubFolders)
{
    EXPECT_FALSE(MaySelect({WithoutSub(Include(L"C:\\docs\\"))}, L"C:\\docs\\"));
}

TEST(MaySelectBelow, IsTrueBelowAnAdvancedIncludeThatNoFolderMatches)
{
    const FilterList rules{Include(L"C:\\docs\\")};
    EXPECT_TRUE(MaySelect(rules, L"C:\\docs\\new\\", {Include(L"C:\\docs\\", L".doc")}));
    EXPECT_TRUE(MaySelect(rules, L"C:\\docs\\new\\", {Exclude(L"C:\\docs\\", L".tmp")}));
}

TEST(MaySelectBelow, IsFalseWhereAnAdvancedExclusionKeepsAllOut)
{
    const FilterList advanced{Exclude(L"C:\\docs\\tmp\\")};
    EXPECT_FALSE(MaySelect({Include(L"C:\\docs\\")}, L"C:\\docs\\tmp\\new\\", advanced));
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\")}, L"C:\\docs\\", advanced));
}

TEST(MaySelectBelow, IsTrueForWhatAnAdvancedExclusionDoesNotTouch)
{
    const FilterList advanced{Exclude(L"C:\\docs\\tmp\\")};
    EXPECT_TRUE(MaySelect({Include(L"C:\\docs\\tmp\\new\\a.txt")}, L"C:\\docs\\tmp\\new\\", advanced));
    EXPECT_TRUE(MaySelect({ForRecovery(Include(L"C:\\docs\\"))}, L"C:\\docs\\tmp\\new\\", advanced));
}

// One look at a table, whatever the number of rules.
TEST(MaySelectBelow, KnowsTheFoldersAboveTenThousandRules)
{
    FilterList rules;
    for (int number = 0; number < 10'000; ++number)
        rules.push_back(Include((L"C:\\users\\someone\\folder " + std::to_wstring(number) + L"\\").c_str(), L".doc"));
    const RuleIndex index(rules);
    EXPECT_TRUE(index.IncludesBelow(L"C:\\Users\\"));
    EXPECT_TRUE(index.IncludesBelow(L"C:\\users\\SOMEONE\\"));
    EXPECT_FALSE(index.IncludesBelow(L"C:\\users\\someone\\folder 7\\"));
    EXPECT_FALSE(index.IncludesBelow(L"C:\\users\\someone else\\"));
}

// A host of advanced rules for which no file exists, and which reports nothing.
class NothingThere final : public Decisions::AdvancedHost
{
public:
    std::uint32_t Attributes(const wchar_t*) override { return 0x20; }
    void RegexSkipped(Unknown, const wchar_t*) override {}
    void RegexSwitchedOff(const Filter&, int) override {}
    void TreatedAsIncluded() override {}
    void EndingsMissed(const wchar_t*, bool) override {}
};

bool IsSelected(const RuleSet& rules, const RuleSet& advanced, const RuleSet& everywhere, const std::wstring& path)
{
    FilterList matched;
    if (Decisions::CheckRules(rules, path, false, &matched) != Included)
        return false;
    NothingThere host;
    return Decisions::SelectedExplicitly(matched) ||
           Decisions::CheckAdvancedRules(advanced, everywhere, path.c_str(), host).result != Excluded;
}

TEST(MaySelectBelow, IsTrueForEveryFolderAboveASelectedPathOfRandomRules)
{
    RandomRules random(20261122);
    std::size_t selected = 0;
    std::size_t never = 0;
    for (int set = 0; set < 3000; ++set) {
        const RuleSet rules(random.Rules(set % 2 ? 4 : 20));
        const RuleSet advanced(random.AdvancedRules(set % 3 ? 3 : 0));
        const RuleSet everywhere(random.AdvancedRules(1));
        for (int one = 0; one < 100; ++one) {
            const std::wstring path = random.Path();
            const bool isSelected = IsSelected(rules, advanced, everywhere, path);
            selected += isSelected;
            // The path of a folder is not below itself.
            const std::wstring_view above = std::wstring_view(path).substr(0, path.size() - 1);
            for (std::size_t end = 0; (end = above.find(L'\\', end)) != above.npos;) {
                const bool may = Decisions::MaySelectBelow(rules, advanced, above.substr(0, ++end));
                never += !may;
                ASSERT_TRUE(may || !isSelected) << "set " << set << ", depth of the path " << Decisions::Depth(path);
            }
        }
    }
    // Both answers were tried.
    EXPECT_GT(selected, 10'000u);
    EXPECT_GT(never, 10'000u);
}

} // namespace

#include "orbwatcher4/filter/RuleIndex.h"

#include "orbwatcher4/filter/Decisions.h"
#include "tests/filter/RandomRules.h"
#include "tests/filter/RuleWalk.h"
#include "tests/support/FromEnvironment.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

namespace
{

FilterPtr Folder(const std::wstring& path, const wchar_t* mask = L"")
{
    auto rule = std::make_shared<Filter>();
    rule->path = path.c_str();
    rule->type = 1;
    rule->includeSub = true;
    rule->incEx = WatcherEnum::Include;
    rule->mask = mask;
    return rule;
}

FilterPtr SingleFile(const std::wstring& path)
{
    const FilterPtr rule = Folder(path);
    rule->type = 0;
    return rule;
}

std::vector<std::uint32_t> Found(const RuleIndex& index, const std::wstring& path)
{
    std::vector<std::uint32_t> numbers;
    RuleIndex::Matches matches(index, path);
    for (std::uint32_t number; matches.Next(number);)
        numbers.push_back(number);
    return numbers;
}

using Numbers = std::vector<std::uint32_t>;

TEST(RuleIndex, FindsEveryRuleWhosePathBeginsThePathInTheOrderOfTheList)
{
    const RuleIndex index({Folder(L"C:\\a\\b\\"), Folder(L"D:\\"), Folder(L"C:\\"), Folder(L"c:\\A\\B\\"),
                           Folder(L"C:\\a\\bc\\"), Folder(L"C:\\a\\")});
    EXPECT_EQ(Found(index, L"C:\\A\\b\\file"), (Numbers{0, 2, 3, 5}));
    EXPECT_EQ(Found(index, L"C:\\a\\b"), (Numbers{2, 5}));
    EXPECT_EQ(Found(index, L"E:\\a\\"), Numbers());
}

TEST(RuleIndex, GoesByUnitsAndNotByComponents)
{
    const RuleIndex index({Folder(L"C:\\a"), Folder(L"C:\\ab\\"), Folder(L"")});
    EXPECT_EQ(Found(index, L"C:\\ab\\c"), (Numbers{0, 1, 2}));
    EXPECT_EQ(Found(index, L"C:\\abc"), (Numbers{0, 2}));
    EXPECT_EQ(Found(index, L""), (Numbers{2}));
}

TEST(RuleIndex, FindsASingleFileByItsWholePathAlone)
{
    const RuleIndex index({SingleFile(L"C:\\a"), SingleFile(L"C:\\a\\b.txt")});
    EXPECT_EQ(Found(index, L"c:\\A\\B.TXT"), (Numbers{1}));
    EXPECT_EQ(Found(index, L"C:\\a\\b.txt2"), Numbers());
}

TEST(RuleIndex, OfNoRulesFindsNothing)
{
    const RuleIndex index({});
    EXPECT_EQ(Found(index, L"C:\\a"), Numbers());
    EXPECT_EQ(Found(index, L""), Numbers());
}

TEST(RuleIndex, FindsTheRulesOfVeryManyFoldersInsideEachOther)
{
    FilterList rules;
    std::wstring path = L"C:\\";
    Numbers all;
    for (std::uint32_t number = 0; number < 300; ++number) {
        rules.push_back(Folder(path));
        all.push_back(number);
        path += L"d\\";
    }
    EXPECT_EQ(Found(RuleIndex(rules), path), all);
}

TEST(RuleIndex, FindsThemInAVeryLongPath)
{
    const std::wstring start = L"C:\\" + std::wstring(700, L'x') + L"\\";
    const RuleIndex index({Folder(start), Folder(L"C:\\")});
    EXPECT_EQ(Found(index, start + std::wstring(30000, L'y')), (Numbers{0, 1}));
}

// The costs of a look-up: the places of the table that it visits, and the rules that it returns.
TEST(RuleIndex, LooksAtNoMoreAmongTenThousandRulesThanAmongTen)
{
    const auto looksAmong = [](int rules) {
        FilterList list;
        for (int i = 0; i < rules; ++i)
            list.push_back(Folder(L"C:\\Users\\someone\\folder " + std::to_wstring(i) + L"\\"));
        const RuleIndex index(list);
        RuleIndex::Matches matches(index, L"C:\\Users\\someone\\folder 7\\deep\\file.txt");
        std::uint32_t number = 0;
        EXPECT_TRUE(matches.Next(number));
        EXPECT_EQ(number, 7u);
        EXPECT_FALSE(matches.Next(number));
        return matches.Looks();
    };
    EXPECT_LE(looksAmong(10), 12u);
    EXPECT_LE(looksAmong(10'000), 12u);
}

TEST(RuleIndex, KeepsOneSetOfEndingsForAllRulesThatShareAList)
{
    const wchar_t* const many = L".a;.b;.c;.d;.e;.f;.g;.h;.i;.j;.k;.l;.m;.n";
    const RuleIndex index({Folder(L"C:\\a\\", many), Folder(L"C:\\b\\", L".a;.b"), Folder(L"C:\\c\\", many)});
    ASSERT_TRUE(index.EndingsOf(0));
    EXPECT_FALSE(index.EndingsOf(1));
    EXPECT_EQ(index.EndingsOf(2), index.EndingsOf(0));
}

// Threads may look at one empty set at once: the first look leaves nothing behind in it.
TEST(RuleSet, AllThatAreEmptyShareOneIndex)
{
    const RuleSet one, other;
    const RuleIndex* const index = &one.Index();
    EXPECT_EQ(&other.Index(), index);
    EXPECT_EQ(&one.Index(), index);
}

TEST(RuleSet, SeesARuleThatWasAddedAfterALook)
{
    RuleSet rules(FilterList{Folder(L"C:\\a\\")});
    EXPECT_EQ(Decisions::CheckRules(rules, L"C:\\b\\f", false, nullptr), NotIncluded);
    rules.Edit().push_back(Folder(L"C:\\b\\"));
    EXPECT_EQ(Decisions::CheckRules(rules, L"C:\\b\\f", false, nullptr), Included);
    rules.Edit().clear();
    EXPECT_EQ(Decisions::CheckRules(rules, L"C:\\b\\f", false, nullptr), NotIncluded);
}

// Attributes that differ from path to path, and everything that was told in its order.
class Host final : public Decisions::AdvancedHost
{
public:
    std::vector<int> told;

    std::uint32_t Attributes(const wchar_t* path) override
    {
        constexpr std::uint32_t all[] = {0x10, 0x20, 0x30, 0xFFFFFFFF};
        return all[std::hash<std::wstring_view>()(path) % 4];
    }
    void RegexSkipped(Unknown why, const wchar_t*) override { told.push_back(why == Unknown::BadPattern ? 1 : 2); }
    void RegexSwitchedOff(const Filter&, int) override { told.push_back(5); }
    void TreatedAsIncluded() override { told.push_back(3); }
    void EndingsMissed(const wchar_t*, bool excluded) override { told.push_back(excluded ? 4 : 5); }
};

TEST(IndexedDecisions, AreThoseOfTheRuleWalkForAMillionRandomPairsOfRulesAndPath)
{
    constexpr unsigned pathsOfASet = 1000;
    const unsigned pairs = FromEnvironment("ORB_DECISION_PAIRS", 1'000'000);
    RandomRules random(20261121);
    std::vector<std::wstring> paths(5000);
    for (std::wstring& path : paths)
        path = random.Path();
    FilterList matched, walked;
    for (unsigned pair = 0; pair < pairs; pair += pathsOfASet) {
        const RuleSet rules(random.Rules(40));
        for (unsigned i = 0; i < pathsOfASet; ++i) {
            const std::wstring& path = paths[random.Pick(static_cast<int>(paths.size()))];
            const bool included = random.Pick(5) == 0;
            matched.clear();
            walked.clear();
            ASSERT_EQ(Decisions::CheckRules(rules, path, included, &matched),
                      RuleWalk::CheckRules(rules.Rules(), path, included, &walked));
            ASSERT_EQ(matched, walked);
        }
    }
}

TEST(IndexedDecisions, OfAdvancedRulesAreThoseOfTheRuleWalk)
{
    RandomRules random(4);
    for (int set = 0; set < 200; ++set) {
        const RuleSet rules(random.AdvancedRules(12));
        const RuleSet everywhere(random.AdvancedRules(1));
        for (int i = 0; i < 200; ++i) {
            const std::wstring path = random.Path();
            Host host, walkHost;
            const auto answer = Decisions::CheckAdvancedRules(rules, everywhere, path.c_str(), host);
            const auto walked = RuleWalk::CheckAdvancedRules(
                rules.Rules(), everywhere.IsEmpty() ? nullptr : everywhere.Rules().front(), path.c_str(), walkHost);
            ASSERT_EQ(answer.result, walked.result);
            ASSERT_EQ(answer.deciding, walked.deciding);
            ASSERT_EQ(host.told, walkHost.told);
        }
    }
}

} // namespace

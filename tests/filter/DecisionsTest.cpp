#include "orbwatcher4/filter/Decisions.h"

#include "pcrecpp/RE.h"
#include "support/CaseFold.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <utility>

namespace
{

using WatcherEnum::Exclude;
using WatcherEnum::Include;

FilterPtr Rule(const wchar_t* path, WatcherEnum::IncEx kind, const wchar_t* mask = L"", bool user = true)
{
    auto rule = std::make_shared<Filter>();
    rule->path = path;
    rule->incEx = kind;
    rule->exclude = kind == Exclude && user;
    rule->type = rule->path[rule->path.GetLength() - 1] == L'\\';
    rule->includeSub = true;
    rule->mask = mask;
    return rule;
}

InclusionType Check(FilterList rules, const wchar_t* path, bool included = false, FilterList* matched = nullptr)
{
    Decisions::SortRules(rules);
    return Decisions::CheckRules(rules, path, included, matched);
}

class Host final : public Decisions::AdvancedHost
{
public:
    std::map<std::wstring, std::uint32_t> attributes;
    int asked = 0;
    int failures = 0;
    int gaveUp = 0;
    int treatedAsIncluded = 0;
    std::vector<bool> missed;
    std::vector<int> switchedOff;

    std::uint32_t Attributes(const wchar_t* path) override
    {
        ++asked;
        const auto found = attributes.find(path);
        return found == attributes.end() ? 0xFFFFFFFF : found->second;
    }
    void RegexSkipped(Unknown why, const wchar_t*) override { ++(why == Unknown::BadPattern ? failures : gaveUp); }
    void RegexSwitchedOff(const Filter&, int seconds) override { switchedOff.push_back(seconds); }
    void TreatedAsIncluded() override { ++treatedAsIncluded; }
    void EndingsMissed(const wchar_t*, bool excluded) override { missed.push_back(excluded); }
};

FilterPtr Regex(const wchar_t* path, WatcherEnum::IncEx kind, const wchar_t* pattern)
{
    const FilterPtr rule = Rule(path, kind, pattern);
    rule->isregex = true;
    rule->regex.Compile(pattern);
    return rule;
}

TEST(Decisions, DepthCountsBothSeparatorsButSkipsTheLastUnit)
{
    EXPECT_EQ(Decisions::Depth(L"C:\\Docs\\"), 1);
    EXPECT_EQ(Decisions::Depth(L"C:\\Docs"), 1);
    EXPECT_EQ(Decisions::Depth(L"C:/Docs\\a.txt"), 2);
    EXPECT_EQ(Decisions::Depth(L"\\"), 0);
    EXPECT_EQ(Decisions::Depth(L""), 0);
}

TEST(Decisions, TheOrderIsDeeperThenExclusionsThenShorterMasks)
{
    const FilterPtr shallow = Rule(L"C:\\", Exclude), deep = Rule(L"C:\\a\\", Include, L".doc");
    const FilterPtr exclusion = Rule(L"C:\\a\\", Exclude, L".longer"), plain = Rule(L"C:\\a\\", Include);
    FilterList rules{shallow, deep, plain, exclusion};
    Decisions::SortRules(rules);
    EXPECT_EQ(rules, (FilterList{exclusion, plain, deep, shallow}));
}

TEST(Decisions, TheDeepestRuleThatSpeaksOfAPathWins)
{
    const FilterList rules{Rule(L"C:\\Docs\\", Include), Rule(L"C:\\Docs\\Tmp\\", Exclude)};
    EXPECT_EQ(Check(rules, L"C:\\Docs\\Tmp\\x.txt"), Excluded);
    EXPECT_EQ(Check(rules, L"c:\\dOCS\\y.txt"), Included);
    EXPECT_EQ(Check(rules, L"C:\\other.txt"), NotIncluded);
}

TEST(Decisions, ADeeperIncludeStandsAgainstAShallowerExclusion)
{
    const FilterList rules{Rule(L"C:\\Docs\\", Exclude), Rule(L"C:\\Docs\\Keep\\", Include)};
    EXPECT_EQ(Check(rules, L"C:\\Docs\\Keep\\x"), Included);
    EXPECT_EQ(Check(rules, L"C:\\Docs\\x"), Excluded);
}

TEST(Decisions, AtEqualDepthTheExclusionWins)
{
    EXPECT_EQ(Check({Rule(L"C:\\Docs\\", Include), Rule(L"C:\\Docs\\", Exclude)}, L"C:\\Docs\\x"), Excluded);
}

TEST(Decisions, AFolderRuleWithoutSubFoldersCoversItsOwnPathOnly)
{
    const FilterPtr rule = Rule(L"C:\\Docs\\", Include);
    rule->includeSub = false;
    EXPECT_EQ(Check({rule}, L"C:\\Docs\\"), Included);
    EXPECT_EQ(Check({rule}, L"C:\\Docs\\a.txt"), NotIncluded);
    EXPECT_EQ(Check({rule}, L"C:\\Docs\\Sub\\a.txt"), NotIncluded);
}

TEST(Decisions, AFileRuleCoversItsVeryPath)
{
    const FilterList rules{Rule(L"C:\\a.txt", Include)};
    EXPECT_EQ(Check(rules, L"C:\\A.TXT"), Included);
    EXPECT_EQ(Check(rules, L"C:\\a.txt.bak"), NotIncluded);
}

TEST(Decisions, AnAutomaticExclusionYieldsNotIncludedAndAUsersExclusionExcluded)
{
    EXPECT_EQ(Check({Rule(L"C:\\a\\", Exclude, L"", false)}, L"C:\\a\\x"), NotIncluded);
    EXPECT_EQ(Check({Rule(L"C:\\a\\", Exclude, L"", true)}, L"C:\\a\\x"), Excluded);
}

TEST(Decisions, MasksAreEndingsWithoutWildcards)
{
    const FilterList rules{Rule(L"C:\\a\\", Include, L".doc;;*.xls")};
    EXPECT_EQ(Check(rules, L"C:\\a\\x.DOC"), Included);
    EXPECT_EQ(Check(rules, L"C:\\a\\x.xls"), NotIncluded);
    EXPECT_EQ(Check(rules, L"C:\\a\\x*.xls"), Included);
}

TEST(Decisions, AnIncludeTakesPartOnceForEachMatchingEntry)
{
    const FilterPtr rule = Rule(L"C:\\a\\", Include, L".doc;oc;.xls");
    FilterList matched;
    EXPECT_EQ(Check({rule}, L"C:\\a\\x.doc", false, &matched), Included);
    EXPECT_EQ(matched, (FilterList{rule, rule}));
}

TEST(Decisions, APathThatTheIndexKnowsStartsIncludedEvenWithoutRules)
{
    EXPECT_EQ(Check({}, L"C:\\a\\x", true), Included);
    EXPECT_EQ(Check({Rule(L"C:\\a\\", Exclude)}, L"C:\\a\\x", true), Included);
}

TEST(Decisions, TheDeepestRulesTakePartInOrder)
{
    const FilterPtr outer = Rule(L"C:\\", Include), inner = Rule(L"C:\\a\\", Include);
    FilterList matched;
    Check({outer, inner}, L"C:\\a\\x", false, &matched);
    EXPECT_EQ(matched, (FilterList{inner, outer}));
}

TEST(AdvancedDecisions, AnIncludeForAllPathsSelectsOnlyItsEndings)
{
    Host host;
    const FilterPtr rule = Rule(AllPaths, Include, L".doc;.xls");
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\a.txt", host).result, Excluded);
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\b.doc", host).result, Included);
    EXPECT_EQ(host.missed, std::vector<bool>{true});
}

TEST(AdvancedDecisions, AnExclusionForAllPathsKeepsItsEndingsOut)
{
    Host host;
    const FilterPtr rule = Rule(AllPaths, Exclude, L".tmp");
    rule->type = 1;
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\folder\\a.tmp", host).result, Excluded);
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\folder\\a.doc", host).result, Included);
    EXPECT_EQ(host.missed, std::vector<bool>{false});
}

TEST(AdvancedDecisions, ARegularExpressionIsNotApplicableToAFolderAndToAVanishedPath)
{
    Host host;
    host.attributes = {{L"C:\\folder\\d", 0x11}, {L"C:\\folder\\tmp1", 0x20}};
    const FilterPtr rule = Regex(AllPaths, Exclude, L"tmp");
    rule->type = 1;
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\folder\\d", host).result, NotApplicable);
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\folder\\gone", host).result, NotApplicable);
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\folder\\tmp1", host).result, Excluded);
}

TEST(AdvancedDecisions, AFailedRegularExpressionLetsTheFileIn)
{
    Host host;
    host.attributes = {{L"C:\\f", 0x20}};
    EXPECT_EQ(Decisions::CheckAdvancedRule(Regex(AllPaths, Exclude, L"("), L"C:\\f", host).result, Included);
    EXPECT_EQ(host.failures, 1);
    EXPECT_EQ(host.treatedAsIncluded, 1);
}

TEST(AdvancedDecisions, AFailedRegularExpressionOfADriveIsPassedOver)
{
    Host host;
    host.attributes = {{L"C:\\f.tmp", 0x20}};
    const FilterList rules{Regex(L"C:\\", Exclude, L"("), Rule(L"C:\\", Exclude, L".tmp")};
    EXPECT_EQ(Decisions::CheckAdvancedRules(rules, {}, L"C:\\f.tmp", host).result, Excluded);
    EXPECT_EQ(host.failures, 1);
    EXPECT_EQ(host.treatedAsIncluded, 0);
}

TEST(AdvancedDecisions, ARegularExpressionThatGivesUpLetsTheFileInWhateverItsKind)
{
    const std::wstring path = L"C:\\" + std::wstring(40, L'a') + L"!";
    for (const WatcherEnum::IncEx kind : {Include, Exclude}) {
        Host host;
        host.attributes = {{path, 0x20}};
        const FilterPtr everywhere = Regex(AllPaths, kind, L"(a+)+$"), onDrive = Regex(L"C:\\", kind, L"(a+)+$");
        everywhere->type = 1;
        EXPECT_EQ(Decisions::CheckAdvancedRule(everywhere, path.c_str(), host).result, Included);
        const FilterList rules{Rule(L"C:\\", Include, L".doc"), onDrive};
        EXPECT_EQ(Decisions::CheckAdvancedRules(rules, {}, path.c_str(), host).result,
                  kind == Include ? Included : Excluded); // the mask of the other rule stands
        EXPECT_EQ(Decisions::CheckAdvancedRules(FilterList{onDrive}, {}, path.c_str(), host).result, Included);
        EXPECT_EQ(host.gaveUp, 3);
    }
}

TEST(AdvancedDecisions, ARegularExpressionThatGivesUpAgainAndAgainIsNotAskedForAWhile)
{
    const std::wstring path = L"C:\\" + std::wstring(40, L'a') + L"!";
    Host host;
    host.attributes = {{path, 0x20}};
    const FilterList rules{Regex(L"C:\\", Exclude, L"(a+)+$")};
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(Decisions::CheckAdvancedRules(rules, {}, path.c_str(), host).result, Included);
    EXPECT_LT(host.gaveUp, 50);
    ASSERT_FALSE(host.switchedOff.empty());
    EXPECT_EQ(host.switchedOff.front(), 1);
}

TEST(AdvancedDecisions, AnIncludeMaskThatFailsExcludesUnlessALaterOneMatches)
{
    Host host;
    const FilterPtr first = Rule(L"C:\\a\\", Include, L".doc"), later = Rule(L"C:\\", Include, L".txt");
    EXPECT_EQ(Decisions::CheckAdvancedRules(FilterList{first}, {}, L"C:\\a\\x.txt", host).result, Excluded);
    EXPECT_EQ(Decisions::CheckAdvancedRules(FilterList{first, later}, {}, L"C:\\a\\x.txt", host).result, Included);
    EXPECT_EQ(Decisions::CheckAdvancedRules(FilterList{later, first}, {}, L"C:\\a\\x.txt", host).result, Excluded);
}

TEST(AdvancedDecisions, APlainDirectoryIsTakenAsAMatchAndOneWithAFurtherBitIsMatched)
{
    Host host;
    host.attributes = {{L"C:\\a\\d", 0x10}, {L"C:\\a\\tmp", 0x11}};
    const FilterPtr exclusion = Regex(L"C:\\a\\", Exclude, L"tmp");
    EXPECT_EQ(Decisions::CheckAdvancedRules(FilterList{exclusion}, {}, L"C:\\a\\d", host).result, NotApplicable);
    EXPECT_EQ(Decisions::CheckAdvancedRules(FilterList{exclusion}, {}, L"C:\\a\\tmp", host).result, Excluded);
}

TEST(AdvancedDecisions, ARuleOfADriveAppliesAsAnOrdinaryOneDoes)
{
    Host host;
    const FilterPtr file = Rule(L"C:\\a\\f", Exclude), flat = Rule(L"C:\\a\\", Exclude);
    flat->includeSub = false;
    const auto check = [&](const FilterPtr& rule, const wchar_t* path) {
        return Decisions::CheckAdvancedRules(FilterList{rule}, {}, path, host).result;
    };
    EXPECT_EQ(check(file, L"C:\\a\\F"), Excluded);
    EXPECT_EQ(check(file, L"C:\\a\\f.txt"), Included);
    EXPECT_EQ(check(flat, L"C:\\a\\"), Excluded);
    EXPECT_EQ(check(flat, L"C:\\a\\f"), Included);
}

TEST(AdvancedDecisions, ADirectoryThatAnExclusionsExpressionMeetsIsIncludedAgain)
{
    Host host;
    host.attributes = {{L"C:\\a\\d", 0x10}};
    const FilterList rules{Rule(L"C:\\a\\", Include, L".doc"), Regex(L"C:\\a\\", Exclude, L"tmp")};
    EXPECT_EQ(Decisions::CheckAdvancedRules(rules, {}, L"C:\\a\\d", host).result, NotApplicable);
}

TEST(AdvancedDecisions, TheAnswerForAllPathsStandsForADirectoryToo)
{
    Host host;
    host.attributes = {{L"C:\\a\\d", 0x10}};
    const FilterPtr everywhere = Rule(AllPaths, Exclude, L".tmp");
    everywhere->type = 1;
    const FilterList rules{Regex(L"C:\\a\\", Exclude, L"tmp")};
    EXPECT_EQ(Decisions::CheckAdvancedRules(rules, FilterList{everywhere}, L"C:\\a\\d", host).result, Included);
}

TEST(AdvancedDecisions, AFileRuleForAllPathsSpeaksOfShortPathsOnly)
{
    Host host;
    const FilterPtr rule = Rule(AllPaths, Exclude, L".tmp");
    rule->type = 0;
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\a.tmp", host).result, Excluded);
    EXPECT_EQ(Decisions::CheckAdvancedRule(rule, L"C:\\folder\\a.tmp", host).result, Included);
}

TEST(AdvancedDecisions, EitherOfTwoBitsMarksDisasterRecovery)
{
    for (const std::uint32_t bit : {0x40000u, 0x80000u}) {
        Filter rule;
        rule.flags = bit;
        EXPECT_TRUE(Decisions::IsDisasterRecovery(rule)) << bit;
    }
    EXPECT_FALSE(Decisions::IsDisasterRecovery(Filter()));
}

TEST(AdvancedDecisions, TheRuleForAllPathsAnswersLastAndItsAnswerStands)
{
    Host host;
    const FilterPtr everywhere = Rule(AllPaths, Exclude, L".tmp");
    everywhere->type = 1;
    EXPECT_EQ(Decisions::CheckAdvancedRules(FilterList{Rule(L"C:\\", Include)}, FilterList{everywhere},
                                            L"C:\\some folder\\x.tmp", host)
                  .result,
              Excluded);
}

TEST(AdvancedDecisions, AnItemThatWasSelectedByItselfOrForRecoverySkipsThem)
{
    const FilterPtr folder = Rule(L"C:\\a\\", Include), recovery = Rule(L"C:\\a\\", Include);
    recovery->flags = 0x80000;
    EXPECT_FALSE(Decisions::SelectedExplicitly({}));
    EXPECT_FALSE(Decisions::SelectedExplicitly({folder, Rule(L"C:\\x", Exclude)}));
    EXPECT_TRUE(Decisions::SelectedExplicitly({folder, Rule(L"C:\\a\\f", Include)}));
    EXPECT_TRUE(Decisions::SelectedExplicitly({recovery}));
}

// Counts the allocations and matches of a check of fifty expressions.
TEST(AdvancedDecisions, AskForAttributesOnceAndCompileNothingHoweverManyExpressionsThereAre)
{
    FilterList expressions;
    for (int i = 0; i < 50; ++i)
        expressions.push_back(Regex(L"C:\\", Exclude, (L"never" + std::to_wstring(i)).c_str()));
    const RuleSet rules(expressions);
    Host host;
    host.attributes[L"C:\\a.txt"] = 0x20;
    const long compiled = pcrecpp::RE::CompiledCount();
    EXPECT_EQ(Decisions::CheckAdvancedRules(rules, {}, L"C:\\a.txt", host).result, Included);
    EXPECT_EQ(pcrecpp::RE::CompiledCount(), compiled);
    EXPECT_EQ(host.asked, 1);
}

TEST(Decisions, AboutTheSameRulesAreMadeOnSeveralThreadsAtOnce)
{
    RuleSet rules(FilterList{Rule(L"C:\\", Include), Rule(L"C:\\out\\", Exclude, L".tmp;.bak")});
    rules.Sort();
    rules.Index();
    const RuleSet advanced(FilterList{Regex(L"C:\\", Exclude, L"x+[0-9]")});
    advanced.Index();
    const auto decide = [&] {
        for (int i = 0; i < 200; ++i) {
            Host host;
            host.attributes[L"C:\\xx7"] = 0x20;
            FilterList matched;
            ASSERT_EQ(Decisions::CheckRules(rules, L"c:\\OUT\\a.TMP", false, &matched), Excluded);
            ASSERT_EQ(Decisions::CheckAdvancedRules(advanced, {}, L"C:\\xx7", host).result, Excluded);
        }
    };
    std::thread other(decide);
    decide();
    other.join();
}

} // namespace

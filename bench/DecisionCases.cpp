// Whether a path is selected, among few and very many rules, long lists of endings and regular expressions.
//
// Rules for folders are decided beside a hash map of these folders, which is asked from the path upwards, and beside a
// plain walk over all rules. The map returns a decision alone; ours also returns the rules that took part.
//
// The cases do not show the lock of the selection, nor the question to the disk that a few rules need.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/Decisions.h"
#include "support/CaseFold.h"
#include "tests/filter/RuleWalk.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

namespace
{

constexpr int paths = 1000;

// Some of them are below folders with a rule of their own, however many of those there are.
std::vector<std::wstring> Paths()
{
    std::vector<std::wstring> all;
    for (int i = 0; i < paths; ++i)
        all.push_back(L"C:\\Users\\someone\\Documents\\folder " + std::to_wstring(i * 7919 % 100'000) +
                      L"\\deep\\file " + std::to_wstring(i) + L".txt");
    return all;
}

FilterPtr Rule(const std::wstring& path, WatcherEnum::IncEx kind)
{
    auto rule = std::make_shared<Filter>();
    rule->path = path.c_str();
    rule->incEx = kind;
    rule->exclude = kind == WatcherEnum::Exclude;
    rule->type = 1;
    rule->includeSub = true;
    return rule;
}

FilterList FolderRules(int count)
{
    FilterList rules{Rule(L"C:\\Users\\", WatcherEnum::Include)};
    for (int i = 1; i < count; ++i)
        rules.push_back(Rule(L"C:\\Users\\someone\\Documents\\folder " + std::to_wstring(i) + L"\\",
                             i % 3 ? WatcherEnum::Include : WatcherEnum::Exclude));
    Decisions::SortRules(rules);
    return rules;
}

std::unique_ptr<OrbFilter> FilterOf(const FilterList& rules)
{
    auto filter = std::make_unique<OrbFilter>();
    for (const FilterPtr& rule : rules)
        filter->AddSingleFilter(rule, false);
    return filter;
}

// One decision after the other, each about the next path.
template <typename Decide>
Contest::Work Asking(Decide decide)
{
    return [decide, all = Paths()](benchmark::State& state) {
        std::size_t next = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(decide(all[next]));
            next = next + 1 == all.size() ? 0 : next + 1;
        }
    };
}

std::wstring Folded(std::wstring text)
{
    const std::uint16_t* const upper = UpperUnits();
    for (wchar_t& unit : text)
        unit = static_cast<wchar_t>(upper[static_cast<std::uint16_t>(unit)]);
    return text;
}

// The decisions of folders by their paths. A path is decided by the nearest folder around it that has one.
class AncestorMap
{
public:
    explicit AncestorMap(const FilterList& rules)
    {
        for (const FilterPtr& rule : rules)
            m_decisions[Folded(rule->path.GetString())] = rule->incEx == WatcherEnum::Include ? Included : Excluded;
    }

    std::optional<InclusionType> Decide(const std::wstring& path) const
    {
        const std::wstring folded = Folded(path);
        std::wstring_view folder = folded;
        for (std::size_t slash; (slash = folder.rfind(L'\\')) != folder.npos; folder = folder.substr(0, slash))
            if (const auto found = m_decisions.find(folder.substr(0, slash + 1)); found != m_decisions.end())
                return found->second;
        return std::nullopt;
    }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::wstring_view text) const { return std::hash<std::wstring_view>()(text); }
    };
    std::unordered_map<std::wstring, InclusionType, Hash, std::equal_to<>> m_decisions;
};

void RequireSameDecisions(OrbFilter& filter, const AncestorMap& map)
{
    for (const std::wstring& path : Paths())
        if (map.Decide(path) != filter.CheckForInclusion(path.c_str(), nullptr, true, false))
            throw std::runtime_error("the map decides otherwise");
}

double TimeOfADecision(int count)
{
    const FilterList rules = FolderRules(count);
    const std::unique_ptr<OrbFilter> filter = FilterOf(rules);
    const AncestorMap map(rules);
    RequireSameDecisions(*filter, map);
    const auto times =
        Contest("decide", {{"rules", count}})
            .Ours(Asking([&](const std::wstring& path) {
                FilterList matched;
                return filter->CheckForInclusion(path.c_str(), &matched, true, false);
            }))
            .Against("a hash map of ancestors", 1, Asking([&](const std::wstring& path) { return map.Decide(path); }))
            .Against("the plain rule walk", 1, Asking([&](const std::wstring& path) {
                         FilterList matched;
                         return RuleWalk::CheckRules(rules, path, false, &matched);
                     }))
            .Rounds(5)
            .In(benchmark::kNanosecond)
            .Run();
    return times.at("ours");
}

void DecideAmongManyRules()
{
    const double amongTen = TimeOfADecision(10);
    for (const int count : {100, 1000, 10'000})
        TimeOfADecision(count);
    Print({"decide-growth",
           TimeOfADecision(100'000),
           "ns",
           "its own time among 10 rules",
           amongTen,
           3,
           {{"rules", 100'000}}});
}

std::wstring ManyEndings()
{
    std::wstring mask;
    for (int i = 0; i < 1000; ++i)
        mask += L"." + std::to_wstring(i) + L";";
    return mask;
}

// The advanced checks, with what the machine would say of a file.
class AFile final : public Decisions::AdvancedHost
{
public:
    std::uint32_t Attributes(const wchar_t*) override { return 0x20; }
    void RegexSkipped(Unknown, const wchar_t*) override { throw std::runtime_error("an expression was skipped"); }
    void RegexSwitchedOff(const Filter&, int) override {}
    void TreatedAsIncluded() override {}
    void EndingsMissed(const wchar_t*, bool) override {}
};

Contest AdvancedContest(const char* name, double goal, const RuleSet& rules, Sizes sizes)
{
    rules.Index();
    Contest contest(name, std::move(sizes));
    contest.In(benchmark::kNanosecond)
        .Ours(Asking([&](const std::wstring& path) {
            AFile host;
            return Decisions::CheckAdvancedRules(rules, {}, path.c_str(), host).result;
        }))
        .Against("the plain rule walk", goal, Asking([&](const std::wstring& path) {
                     AFile host;
                     return RuleWalk::CheckAdvancedRules(rules.Rules(), nullptr, path.c_str(), host).result;
                 }));
    return contest;
}

void MatchManyEndings()
{
    const FilterPtr rule = Rule(L"C:\\", WatcherEnum::Exclude);
    rule->mask = ManyEndings().c_str();
    AdvancedContest("endings", 1.0 / 20, RuleSet(FilterList{rule}), {{"endings", 1000}}).Run();
}

void MatchManyExpressions()
{
    FilterList rules;
    for (int i = 0; i < 50; ++i) {
        const FilterPtr rule = Rule(L"C:\\", WatcherEnum::Exclude);
        rule->isregex = true;
        rule->mask = (L"\\\\cache-" + std::to_wstring(i) + L"[0-9a-f]+\\.(tmp|bak)$").c_str();
        rule->regex.Compile(rule->mask);
        rules.push_back(rule);
    }
    AdvancedContest("expressions", 1, RuleSet(rules), {{"expressions", 50}}).Run();
}

const Case decide("decide", DecideAmongManyRules);
const Case endings("endings", MatchManyEndings);
const Case expressions("expressions", MatchManyExpressions);

} // namespace

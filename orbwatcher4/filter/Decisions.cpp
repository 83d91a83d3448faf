#include "orbwatcher4/filter/Decisions.h"

#include "orbwatcher4/filter/RuleIndex.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <optional>

namespace Decisions
{
namespace
{

constexpr std::uint32_t DirectoryAttribute = 0x10;

bool IsSeparator(wchar_t unit) { return unit == L'\\' || unit == L'/'; }
bool IsExclusion(const Filter& rule) { return rule.incEx == WatcherEnum::Exclude; }

InclusionType ExclusionResult(const Filter& rule) { return rule.exclude ? Excluded : NotIncluded; }

// Returns the keys of the rule order as one number: the smaller number comes first.
std::uint64_t OrderOf(const Filter& rule)
{
    const auto depth = static_cast<std::uint32_t>(Depth(rule.path.View()));
    const auto maskLength = static_cast<std::uint32_t>(rule.mask.GetLength()); // below 2^31
    return std::uint64_t(~depth) << 32 | std::uint64_t(!IsExclusion(rule)) << 31 | maskLength;
}

} // namespace

int Depth(std::wstring_view path)
{
    if (path.empty())
        return 0;
    return static_cast<int>(std::count_if(path.begin(), path.end() - 1, IsSeparator));
}

bool ComesBefore(const FilterPtr& left, const FilterPtr& right) { return OrderOf(*left) < OrderOf(*right); }

void SortRules(FilterList& rules)
{
    // The depth of a path is counted once, not in each comparison.
    std::vector<std::pair<std::uint64_t, std::uint32_t>> order;
    order.reserve(rules.size());
    for (const FilterPtr& rule : rules)
        order.emplace_back(OrderOf(*rule), static_cast<std::uint32_t>(order.size()));
    std::sort(order.begin(), order.end(), [](const auto& left, const auto& right) { return left.first < right.first; });
    FilterList sorted;
    sorted.reserve(rules.size());
    for (const auto& [key, number] : order)
        sorted.push_back(std::move(rules[number]));
    rules = std::move(sorted);
}

namespace
{

// Compares one entry after the other, without an index.
std::size_t CountMatchingEntries(std::wstring_view mask, std::wstring_view path, std::size_t enough)
{
    std::size_t matches = 0;
    while (!mask.empty() && matches < enough) {
        const std::wstring_view one = mask.substr(0, mask.find(L';'));
        if (!one.empty() && EndsNoCase(path, one))
            ++matches;
        mask.remove_prefix(std::min(mask.size(), one.size() + 1));
    }
    return matches;
}

// Returns the number of the mask's entries in which the path ends. Counting may stop at `enough`.
std::size_t CountMatchingEntries(const Filter& rule, const EndingSet* endings, std::wstring_view path,
                                 std::size_t enough)
{
    return endings ? std::min(endings->CountMatches(path), enough)
                   : CountMatchingEntries(rule.mask.View(), path, enough);
}

// A path that is being judged. Its properties are read once, when a rule needs them.
class JudgedPath
{
public:
    JudgedPath(const wchar_t* path, AdvancedHost& host) : m_path(path), m_text(path), m_host(host) {}

    const wchar_t* Path() const { return m_path; }
    std::wstring_view Text() const { return m_text; }
    std::uint32_t Attributes()
    {
        if (!m_attributes)
            m_attributes = m_host.Attributes(m_path);
        return *m_attributes;
    }
    const FilterRegex::Text& AsMatched()
    {
        if (!m_asMatched)
            m_asMatched.emplace(m_path);
        return *m_asMatched;
    }

private:
    const wchar_t* m_path;
    std::wstring_view m_text;
    AdvancedHost& m_host;
    std::optional<std::uint32_t> m_attributes;
    std::optional<FilterRegex::Text> m_asMatched;
};

// Returns true when a rule whose path begins the path applies to it. A rule for a single file needs the whole path. A
// rule for a folder without sub-folders applies to the folder's own path alone.
bool ReachesTo(const Filter& rule, std::wstring_view path)
{
    const std::wstring_view rulePath = rule.path.View();
    if (rule.type == 0)
        return path.size() == rulePath.size();
    return rule.includeSub || Depth(path) == Depth(rulePath);
}

} // namespace

InclusionType CheckRules(const RuleSet& rules, std::wstring_view path, bool included, FilterList* matched)
{
    const RuleIndex& index = rules.Index();
    RuleIndex::Matches matches(index, path);
    for (std::uint32_t number; matches.Next(number);) {
        const FilterPtr& rule = rules.Rules()[number];
        const bool exclusion = IsExclusion(*rule);
        // After a deeper or equally deep include has selected the path, shallower exclusions no longer count.
        if ((included && exclusion) || !ReachesTo(*rule, path))
            continue;
        std::size_t times = 1;
        if (!rule->mask.IsEmpty()) {
            const std::size_t enough = exclusion || !matched ? 1 : static_cast<std::size_t>(-1);
            times = CountMatchingEntries(*rule, index.EndingsOf(number), path, enough);
        }
        if (matched)
            matched->insert(matched->end(), times, rule);
        if (times > 0 && exclusion)
            return ExclusionResult(*rule);
        included = included || times > 0;
    }
    return included ? Included : NotIncluded;
}

namespace
{

bool IsGood(const FilterRegex& regex, const JudgedPath& path, AdvancedHost& host)
{
    const bool good = regex.GetStatus() == FilterRegex::NoError;
    if (!good)
        host.RegexSkipped(AdvancedHost::Unknown::BadPattern, path.Path());
    return good;
}

// A match that gave up counts as the result that lets the file in.
std::optional<bool> TryMatch(const Filter& rule, JudgedPath& path, AdvancedHost& host)
{
    if (rule.regex.IsSwitchedOff())
        return std::nullopt;
    int switchedOff = 0;
    const std::optional<bool> matched = rule.regex.TryMatch(path.AsMatched(), &switchedOff);
    if (!matched)
        host.RegexSkipped(AdvancedHost::Unknown::GaveUp, path.Path());
    if (switchedOff > 0)
        host.RegexSwitchedOff(rule, switchedOff);
    return matched;
}

AdvancedResult CheckAlone(const FilterPtr& rule, const EndingSet* endings, JudgedPath& path, AdvancedHost& host)
{
    const std::wstring_view text = path.Text();
    AdvancedResult silent;
    if (!BeginsNoCase(rule->path.View(), AllPaths) && !BeginsNoCase(text, rule->path.View()))
        return silent;
    if (rule->type == 0 && text.size() > static_cast<std::size_t>(rule->path.GetLength()))
        return silent;
    const InclusionType whenMatched = IsExclusion(*rule) ? Excluded : Included;
    const InclusionType whenMissed = IsExclusion(*rule) ? Included : Excluded;
    if (rule->mask.IsEmpty())
        return {whenMatched, rule};
    if (!rule->isregex) {
        if (CountMatchingEntries(*rule, endings, text, 1) > 0)
            return {whenMatched, rule};
        host.EndingsMissed(path.Path(), whenMissed == Excluded);
        return {whenMissed, rule};
    }
    // Regular expressions judge only files. The attributes of a path that is gone have all bits set, so it counts as a
    // directory.
    if (path.Attributes() & DirectoryAttribute)
        return {NotApplicable, rule};
    const std::optional<bool> matched = IsGood(rule->regex, path, host) ? TryMatch(*rule, path, host) : std::nullopt;
    if (!matched) {
        host.TreatedAsIncluded();
        return silent;
    }
    return {*matched ? whenMatched : whenMissed, rule};
}

enum class Verdict { Silent, Matched, Missed, Directory };

// Judges a path by one advanced rule of a drive that applies to it.
Verdict Judge(const Filter& rule, const EndingSet* endings, JudgedPath& path, AdvancedHost& host)
{
    if (rule.mask.IsEmpty())
        return Verdict::Matched;
    if (!rule.isregex)
        return CountMatchingEntries(rule, endings, path.Text(), 1) > 0 ? Verdict::Matched : Verdict::Missed;
    // Compared for equality, unlike the bit test for a single rule: a directory with another attribute is matched
    // against the pattern like a file.
    if (path.Attributes() == DirectoryAttribute)
        return Verdict::Directory;
    if (!IsGood(rule.regex, path, host))
        return Verdict::Silent;
    return TryMatch(rule, path, host).value_or(!IsExclusion(rule)) ? Verdict::Matched : Verdict::Missed;
}

} // namespace

AdvancedResult CheckAdvancedRule(const FilterPtr& rule, const wchar_t* path, AdvancedHost& host)
{
    JudgedPath judged(path, host);
    return CheckAlone(rule, nullptr, judged, host);
}

AdvancedResult CheckAdvancedRules(const RuleSet& rules, const RuleSet& allPaths, const wchar_t* path,
                                  AdvancedHost& host)
{
    JudgedPath judged(path, host);
    const RuleIndex& index = rules.Index();
    RuleIndex::Matches matches(index, judged.Text());
    AdvancedResult running;
    bool directory = false;
    for (std::uint32_t number; matches.Next(number);) {
        const FilterPtr& rule = rules.Rules()[number];
        if (!ReachesTo(*rule, judged.Text()))
            continue;
        const Verdict verdict = Judge(*rule, index.EndingsOf(number), judged, host);
        if (verdict == Verdict::Silent)
            continue;
        directory = directory || verdict == Verdict::Directory;
        if (IsExclusion(*rule)) {
            if (verdict == Verdict::Matched)
                return {Excluded, rule};
            if (verdict == Verdict::Directory)
                running = {Included, nullptr};
        } else {
            running = {verdict == Verdict::Missed ? Excluded : Included, rule};
        }
    }
    if (running.result != Included)
        return running;
    if (allPaths.IsEmpty())
        return {directory ? NotApplicable : Included, running.deciding};
    return CheckAlone(allPaths.Rules().front(), allPaths.Index().EndingsOf(0), judged, host);
}

namespace
{

// Returns true when the rule, whose path begins the folder's, covers everything below the folder.
bool CoversAllBelow(const Filter& rule) { return rule.type != 0 && rule.includeSub; }

bool IsPlainExclusion(const Filter& rule) { return IsExclusion(rule) && rule.mask.IsEmpty(); }

struct AtOrAbove {
    bool includes = false;         // a rule includes paths below the folder
    bool disasterRecovery = false; // such a rule keeps the advanced rules from being asked
};

// Collects the rules at or above a folder that cover the paths below it. Deeper rules come first and win.
AtOrAbove IncludesAtOrAbove(const RuleSet& rules, std::wstring_view folder)
{
    RuleIndex::Matches matches(rules.Index(), folder);
    AtOrAbove found;
    for (std::uint32_t number; matches.Next(number);) {
        const Filter& rule = *rules.Rules()[number];
        if (!CoversAllBelow(rule))
            continue;
        if (!IsExclusion(rule)) {
            found.includes = true;
            found.disasterRecovery = found.disasterRecovery || IsDisasterRecovery(rule);
        } else if (rule.mask.IsEmpty() && !found.includes) {
            break;
        }
    }
    return found;
}

bool ExcludedWhole(const RuleSet& advanced, std::wstring_view folder)
{
    RuleIndex::Matches matches(advanced.Index(), folder);
    for (std::uint32_t number; matches.Next(number);)
        if (const Filter& rule = *advanced.Rules()[number]; CoversAllBelow(rule) && IsPlainExclusion(rule))
            return true;
    return false;
}

} // namespace

bool MaySelectBelow(const RuleSet& rules, const RuleSet& advanced, std::wstring_view folder)
{
    if (rules.IsEmpty())
        return false;
    if (rules.Index().IncludesBelow(folder))
        return true;
    const AtOrAbove above = IncludesAtOrAbove(rules, folder);
    return above.includes && (above.disasterRecovery || !ExcludedWhole(advanced, folder));
}

bool IsDisasterRecovery(const Filter& rule) { return (rule.flags & RuleFlags::DisasterRecovery) != 0; }

bool SelectedExplicitly(const FilterList& matched)
{
    return std::any_of(matched.begin(), matched.end(), [](const FilterPtr& rule) {
        return !IsExclusion(*rule) && (rule->type == 0 || IsDisasterRecovery(*rule));
    });
}

} // namespace Decisions

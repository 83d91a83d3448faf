#include "tests/filter/RuleWalk.h"

#include "support/CaseFold.h"

#include <algorithm>
#include <optional>

namespace RuleWalk
{

using Decisions::AdvancedHost;
using Decisions::AdvancedResult;
using Decisions::Depth;

namespace
{

constexpr std::uint32_t DirectoryAttribute = 0x10;

bool IsExclusion(const Filter& rule) { return rule.incEx == WatcherEnum::Exclude; }

InclusionType ExclusionResult(const Filter& rule) { return rule.exclude ? Excluded : NotIncluded; }

} // namespace

// Calls `entry` with each ";"-separated entry that the path ends in, until it returns false.
template <typename Visit>
void ForEachMatchingEntry(std::wstring_view mask, std::wstring_view path, Visit entry)
{
    while (!mask.empty()) {
        const std::wstring_view one = mask.substr(0, mask.find(L';'));
        if (!one.empty() && EndsNoCase(path, one) && !entry(one))
            return;
        mask.remove_prefix(std::min(mask.size(), one.size() + 1));
    }
}

bool MatchesMask(std::wstring_view mask, std::wstring_view path)
{
    bool matches = false;
    ForEachMatchingEntry(mask, path, [&](std::wstring_view) {
        matches = true;
        return false;
    });
    return matches;
}

bool Applies(const Filter& rule, std::wstring_view path, int pathDepth)
{
    const std::wstring_view rulePath = rule.path.View();
    if (!BeginsNoCase(path, rulePath))
        return false;
    if (rule.type == 0)
        return path.size() == rulePath.size();
    return rule.includeSub || pathDepth == Depth(rulePath);
}

InclusionType CheckRules(const FilterList& rules, std::wstring_view path, bool included, FilterList* matched)
{
    const auto takesPart = [&](const FilterPtr& rule) {
        if (matched)
            matched->push_back(rule);
    };
    const int depth = Depth(path);
    for (const FilterPtr& rule : rules) {
        if (!Applies(*rule, path, depth))
            continue;
        // Once a deeper or equally deep include has selected the path, shallower exclusions no longer count.
        if (included && IsExclusion(*rule))
            continue;
        if (rule->mask.IsEmpty()) {
            takesPart(rule);
            if (IsExclusion(*rule))
                return ExclusionResult(*rule);
            included = true;
            continue;
        }
        bool excluded = false;
        ForEachMatchingEntry(rule->mask.View(), path, [&](std::wstring_view) {
            takesPart(rule);
            excluded = IsExclusion(*rule);
            included = included || !excluded;
            return !excluded;
        });
        if (excluded)
            return ExclusionResult(*rule);
    }
    return included ? Included : NotIncluded;
}

namespace
{

bool IsGood(const FilterRegex& regex, const wchar_t* path, AdvancedHost& host)
{
    const bool good = regex.GetStatus() == FilterRegex::NoError;
    if (!good)
        host.RegexSkipped(AdvancedHost::Unknown::BadPattern, path);
    return good;
}

// A match that gave up is taken as whatever lets the file in.
std::optional<bool> TryMatch(const Filter& rule, const wchar_t* path, AdvancedHost& host)
{
    if (rule.regex.IsSwitchedOff())
        return std::nullopt;
    const std::optional<bool> matched = rule.regex.TryMatch(path);
    if (!matched)
        host.RegexSkipped(AdvancedHost::Unknown::GaveUp, path);
    return matched;
}

} // namespace

AdvancedResult CheckAlone(const FilterPtr& rule, const wchar_t* path, AdvancedHost& host)
{
    const std::wstring_view text = path;
    const AdvancedResult silent;
    if (!BeginsNoCase(rule->path.View(), AllPaths) && !BeginsNoCase(text, rule->path.View()))
        return silent;
    if (rule->type == 0 && text.size() > static_cast<std::size_t>(rule->path.GetLength()))
        return silent;
    const InclusionType whenMatched = IsExclusion(*rule) ? Excluded : Included;
    const InclusionType whenMissed = IsExclusion(*rule) ? Included : Excluded;
    if (rule->mask.IsEmpty())
        return {whenMatched, rule};
    if (!rule->isregex) {
        if (MatchesMask(rule->mask.View(), text))
            return {whenMatched, rule};
        host.EndingsMissed(path, whenMissed == Excluded);
        return {whenMissed, rule};
    }
    // Regular expressions judge files only; a vanished path reads as all bits set and counts as a directory.
    if (host.Attributes(path) & DirectoryAttribute)
        return {NotApplicable, rule};
    const std::optional<bool> matched = IsGood(rule->regex, path, host) ? TryMatch(*rule, path, host) : std::nullopt;
    if (!matched) {
        host.TreatedAsIncluded();
        return silent;
    }
    return {*matched ? whenMatched : whenMissed, rule};
}

namespace
{

enum class Verdict { Silent, Matched, Missed, Directory };

// The decision of one rule of a drive on a path that it applies to.
Verdict Judge(const Filter& rule, const wchar_t* path, AdvancedHost& host)
{
    if (rule.mask.IsEmpty())
        return Verdict::Matched;
    if (!rule.isregex)
        return MatchesMask(rule.mask.View(), path) ? Verdict::Matched : Verdict::Missed;
    // An equality, unlike the bit test for a single rule: a directory with a further attribute is matched
    // against the pattern like a file.
    if (host.Attributes(path) == DirectoryAttribute)
        return Verdict::Directory;
    if (!IsGood(rule.regex, path, host))
        return Verdict::Silent;
    return TryMatch(rule, path, host).value_or(!IsExclusion(rule)) ? Verdict::Matched : Verdict::Missed;
}

} // namespace

AdvancedResult CheckAdvancedRules(const FilterList& rules, const FilterPtr& allPaths, const wchar_t* path,
                                  AdvancedHost& host)
{
    const std::wstring_view text = path;
    const int depth = Depth(text);
    AdvancedResult running;
    bool directory = false;
    for (const FilterPtr& rule : rules) {
        if (!Applies(*rule, text, depth))
            continue;
        const Verdict verdict = Judge(*rule, path, host);
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
    if (!allPaths)
        return {directory ? NotApplicable : Included, running.deciding};
    return CheckAlone(allPaths, path, host);
}

} // namespace RuleWalk

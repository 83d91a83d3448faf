// The decisions of the selection: which rules apply to a path, and what follows.
//
// Pure functions of their arguments; rules must be in the rule order. Any thread, as far as RuleSet allows it. They
// give the answers of a walk over all rules, but visit only the rules whose path begins the path.
#pragma once

#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/RuleSet.h"

#include <string_view>

namespace Decisions
{

// Returns the number of separators among all units except the last one, so that a folder has one depth with and without
// its trailing backslash.
int Depth(std::wstring_view path);

// Puts deeper paths first, then exclusions, then shorter masks.
bool ComesBefore(const FilterPtr& left, const FilterPtr& right);
void SortRules(FilterList& rules);

// Judges a path by the ordinary rules of one drive. `included`: the index already holds the path. Rules that took part
// are appended to `matched`, which may be null: once for each entry of their mask in which the path ends.
InclusionType CheckRules(const RuleSet& rules, std::wstring_view path, bool included, FilterList* matched);

// Returns false only when no path below `folder`, which ends in a backslash, can be selected: no rule includes one, or
// an exclusion without a mask excludes all of them. `advanced` are the advanced rules of the same drive. Costs the
// length of `folder` and the rules at or above it. The index is not asked.
bool MaySelectBelow(const RuleSet& rules, const RuleSet& advanced, std::wstring_view folder);

// Answers the questions of the advanced checks about the machine, and logs for them.
class AdvancedHost
{
public:
    // Returns 0xFFFFFFFF when the path does not exist. Called once in a check, and only for regular expressions.
    virtual std::uint32_t Attributes(const wchar_t* path) = 0;
    // A pattern that is malformed, or that the matcher gave up on, decides nothing.
    enum class Unknown { BadPattern, GaveUp };
    virtual void RegexSkipped(Unknown why, const wchar_t* path) = 0;
    // The pattern has given up repeatedly and decides nothing for so many seconds. RegexSkipped is not called
    // meanwhile.
    virtual void RegexSwitchedOff(const Filter& rule, int seconds) = 0;
    // The consequence when a single rule is checked.
    virtual void TreatedAsIncluded() = 0;
    // No entry of an all-paths rule matched: an include rule keeps the file out, another rule lets it in.
    virtual void EndingsMissed(const wchar_t* path, bool excluded) = 0;

protected:
    ~AdvancedHost() = default;
};

struct AdvancedResult {
    InclusionType result = Included;
    FilterPtr deciding; // null when no rule decided
};

AdvancedResult CheckAdvancedRule(const FilterPtr& rule, const wchar_t* path, AdvancedHost& host);
// Judges a path by the advanced rules. Only the first of the rules for all paths counts.
AdvancedResult CheckAdvancedRules(const RuleSet& rules, const RuleSet& allPaths, const wchar_t* path,
                                  AdvancedHost& host);

bool IsDisasterRecovery(const Filter& rule);
// Returns true for an item that was selected so explicitly that automatic exclusions must not apply to it.
bool SelectedExplicitly(const FilterList& matched);

} // namespace Decisions

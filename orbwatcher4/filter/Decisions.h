// The decisions of the selection: which rules speak of a path, and what follows.
//
// Pure functions of their arguments; rules must stand in the rule order. Any
// thread, as far as RuleSet allows it. They answer what a walk over all rules
// would, and look at those alone whose path begins the path.
#pragma once

#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/RuleSet.h"

#include <string_view>

namespace Decisions
{

// Separators among all units but the last one, so that a folder has one depth with and without its
// trailing backslash.
int Depth(std::wstring_view path);

// Deeper paths first, then exclusions, then shorter masks.
bool ComesBefore(const FilterPtr& left, const FilterPtr& right);
void SortRules(FilterList& rules);

// The ordinary rules of one drive. `included`: the index knows the path already. Rules that took part are
// appended to `matched` when it is given: once for each entry of their mask that the path ends in.
InclusionType CheckRules(const RuleSet& rules, std::wstring_view path, bool included, FilterList* matched);

// Returns false only when certainly no path below `folder`, which ends in a backslash, is selected: no rule includes
// one, or an exclusion without a mask keeps all of them out. `advanced` are the advanced rules of the same drive.
// Costs the length of `folder` and the rules at or above it. What the index knows already is not asked.
bool MaySelectBelow(const RuleSet& rules, const RuleSet& advanced, std::wstring_view folder);

// What the advanced checks ask of the machine and tell the log.
class AdvancedHost
{
public:
    // 0xFFFFFFFF when the path is not there. Asked once in a check, and only for regular expressions.
    virtual std::uint32_t Attributes(const wchar_t* path) = 0;
    // A pattern that is none, or that the matcher gave up on, decides nothing.
    enum class Unknown { BadPattern, GaveUp };
    virtual void RegexSkipped(Unknown why, const wchar_t* path) = 0;
    // The pattern gave up again and again, and decides nothing for so many seconds. No RegexSkipped comes meanwhile.
    virtual void RegexSwitchedOff(const Filter& rule, int seconds) = 0;
    // What follows of it where one rule alone is asked.
    virtual void TreatedAsIncluded() = 0;
    // No entry of an all-paths rule matched: the file is kept out (include rule) or let in.
    virtual void EndingsMissed(const wchar_t* path, bool excluded) = 0;

protected:
    ~AdvancedHost() = default;
};

struct AdvancedResult {
    InclusionType result = Included;
    FilterPtr deciding; // null when no rule decided
};

AdvancedResult CheckAdvancedRule(const FilterPtr& rule, const wchar_t* path, AdvancedHost& host);
// Of the rules for all paths the first one counts.
AdvancedResult CheckAdvancedRules(const RuleSet& rules, const RuleSet& allPaths, const wchar_t* path,
                                  AdvancedHost& host);

bool IsDisasterRecovery(const Filter& rule);
// An item that was selected so explicitly that automatic exclusions must not touch it.
bool SelectedExplicitly(const FilterList& matched);

} // namespace Decisions

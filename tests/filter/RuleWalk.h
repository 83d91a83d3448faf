// The decisions once more, as a walk over all rules in their order: what the
// indexed decisions must answer, and the rival that they are measured with.
#pragma once

#include "orbwatcher4/filter/Decisions.h"

namespace RuleWalk
{

InclusionType CheckRules(const FilterList& rules, std::wstring_view path, bool included, FilterList* matched);
Decisions::AdvancedResult CheckAdvancedRules(const FilterList& rules, const FilterPtr& allPaths, const wchar_t* path,
                                             Decisions::AdvancedHost& host);
// Does the rule speak of this path at all (before masks are looked at)?
bool Applies(const Filter& rule, std::wstring_view path, int pathDepth);

} // namespace RuleWalk

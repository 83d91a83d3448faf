// The effect of the volumes that the rules of one drive name on the whole drive. Portable, any thread.
#pragma once

#include "orbwatcher4/filter/RuleSet.h"

#include <cstdint>
#include <string>

namespace RootVolumes
{

// Returns true when the rule was made for another volume. `present`: the serial number of the volume that is there; 0
// when it has none.
bool IsOther(const Filter& rule, std::int32_t present);

// Returns a sentence for people when a rule of the drive names another volume than the one that is there; empty when
// none does. `rules`: at least one, in the order of checks, whose first one decides for the drive.
std::wstring Consequence(const CString& root, const FilterList& rules, std::int32_t present);

} // namespace RootVolumes

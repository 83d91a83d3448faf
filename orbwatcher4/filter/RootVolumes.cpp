#include "orbwatcher4/filter/RootVolumes.h"

#include <algorithm>

namespace
{

std::wstring Number(std::int32_t vid) { return std::to_wstring(static_cast<std::uint32_t>(vid)); }
std::wstring PathOf(const Filter& rule) { return std::wstring(rule.path.View()); }

} // namespace

bool RootVolumes::IsOther(const Filter& rule, std::int32_t present)
{
    return rule.vid != 0 && rule.vid != present; // 0 identifies no volume
}

std::wstring RootVolumes::Consequence(const CString& root, const FilterList& rules, std::int32_t present)
{
    const Filter& first = *rules.front();
    const std::wstring drive(root.View());
    if (IsOther(first, present))
        return L"nothing on " + drive + L" is watched or enumerated until the volume " + Number(first.vid) +
               L" is there: the vid of the drive's deepest rule, " + PathOf(first) +
               L", counts for the whole drive. Remove it there when any volume is meant";
    const auto other = std::ranges::find_if(rules, [&](const FilterPtr& rule) { return IsOther(*rule, present); });
    if (other == rules.end())
        return L"";
    return L"the rule of " + PathOf(**other) +
           L" holds for the volume that is there, although its vid names another one, " + Number((*other)->vid) +
           L": only the vid of the drive's deepest rule, " + PathOf(first) + L", counts" +
           (first.vid == 0 ? L", and it names no volume" : L"");
}

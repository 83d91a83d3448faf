#include "orbwatcher4/filter/Contradictions.h"

#include "support/CaseFold.h"

#include <unordered_map>

namespace
{

std::size_t HashOf(const Filter& rule) { return HashNoCase(rule.path.View()) ^ HashNoCase(rule.mask.View()) * 31; }

// Returns true when the exclusion leaves nothing to the inclusion: one with sub-folders leaves nothing to one without.
bool LeavesNothingTo(const Filter& exclusion, const Filter& inclusion)
{
    return (exclusion.type != 0) == (inclusion.type != 0) && (exclusion.includeSub || !inclusion.includeSub) &&
           EqualNoCase(exclusion.path.View(), inclusion.path.View()) &&
           EqualNoCase(exclusion.mask.View(), inclusion.mask.View());
}

} // namespace

void Contradictions::Add(const FilterPtr& rule, std::uint32_t item)
{
    (rule->incEx == WatcherEnum::Include ? m_included : m_excluded).push_back({rule, item});
}

std::vector<Contradictions::Pair> Contradictions::Find() const
{
    std::vector<Pair> pairs;
    if (m_included.empty() || m_excluded.empty())
        return pairs;
    // The first of several equal exclusions is enough.
    std::unordered_map<std::size_t, const Entry*> exclusions;
    exclusions.reserve(m_excluded.size());
    for (const Entry& entry : m_excluded)
        exclusions.try_emplace(HashOf(*entry.rule), &entry);
    for (const Entry& entry : m_included) {
        const auto found = exclusions.find(HashOf(*entry.rule));
        if (found != exclusions.end() && LeavesNothingTo(*found->second->rule, *entry.rule))
            pairs.push_back({entry.item, found->second->item});
    }
    return pairs;
}

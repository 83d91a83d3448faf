#include "orbwatcher4/filter/RulesByPath.h"

#include "support/CaseFold.h"

#include <utility>

void RulesByPath::Add(const FilterPtr& rule)
{
    CString path = ComparableRulePath(rule->path, &m_names);
    const std::size_t hash = HashNoCase(path.View());
    m_byPath.emplace(hash, Entry{std::move(path), rule});
}

// Both ask for the same type and plugin.
template <typename Holds>
bool RulesByPath::HasSamePath(const Filter& rule, Holds holds)
{
    const CString path = ComparableRulePath(rule.path, &m_names);
    const auto [first, last] = m_byPath.equal_range(HashNoCase(path.View()));
    for (auto entry = first; entry != last; ++entry) {
        const auto& [otherPath, other] = entry->second;
        ++m_compared;
        if ((other->type != 0) == (rule.type != 0) && other->pluginId == rule.pluginId && holds(*other) &&
            EqualNoCase(otherPath.View(), path.View()))
            return true;
    }
    return false;
}

bool RulesByPath::HasConflict(const Filter& rule)
{
    return HasSamePath(rule, [&](const Filter& other) { return other.incEx != rule.incEx && other.mask == rule.mask; });
}

bool RulesByPath::HasEqual(const Filter& rule)
{
    return HasSamePath(rule, [&](const Filter& other) { return other.exclude == rule.exclude; });
}

// Gives the watcher, the estimator and tests what a filter keeps to itself.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/RulesByPath.h"

class FilterAccess
{
public:
    // Returns the memory of the filter's walks.
    static WalkMemory& MemoryOf(OrbFilter& filter) { return filter.m_memory; }
    // Returns the rules of all drives. Throws std::bad_alloc, unlike the filter's own functions: a list that lacks
    // rules would hide a contradiction.
    static RulesByPath RulesOf(const OrbFilter& filter)
    {
        RulesByPath all;
        for (const auto& [root, rules] : filter.m_driveRules)
            for (const FilterPtr& rule : rules.Rules())
                all.Add(rule);
        return all;
    }
    // Removes every rule that equals one of these by value, in one pass.
    static void RemoveEqual(OrbFilter& filter, const FilterList& outdated)
    {
        RulesByPath equal;
        for (const FilterPtr& rule : outdated)
            equal.Add(rule);
        for (auto& [root, rules] : filter.m_driveRules)
            std::erase_if(rules.Edit(), [&](const FilterPtr& held) { return equal.HasEqual(*held); });
    }
};

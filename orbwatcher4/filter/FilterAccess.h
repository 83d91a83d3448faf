// Gives the watcher, the estimator and tests what a filter keeps to itself.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/RulesByPath.h"

class FilterAccess
{
public:
    // Returns the memory of the filter's walks.
    static WalkMemory& MemoryOf(OrbFilter& filter) { return filter.m_memory; }
    // Prepares a filter that reads a file of further rules for the held one. The held filter may be used meanwhile.
    static void PrepareToRead(OrbFilter& reader, const OrbFilter& held)
    {
        reader.m_keptOut = held.m_keptOut;
        reader.m_backupFolder = held.m_backupFolder;
        reader.m_globalExclude = held.m_globalExclude;
        reader.m_networkInclude = held.m_networkInclude;
    }
    // Takes what the file says beside its rules.
    static void TakeFileOf(OrbFilter& held, const OrbFilter& reader)
    {
        held.m_keptOut.Take(KeptOutPaths::Source::DataFolder, reader.m_keptOut);
        held.m_backupFolder = reader.m_backupFolder;
        held.m_globalExclude = reader.m_globalExclude;
        held.m_networkInclude = reader.m_networkInclude;
        held.m_findings = reader.m_findings;
    }
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

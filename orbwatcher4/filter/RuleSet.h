/// @file
/// The rules of one drive in their order, with an index that finds those that
/// speak of a path. The index is made by the first look after an edit.
///
/// Portable. Looks may overlap each other when one has been made since the last
/// edit, or when the set is empty; edits overlap nothing. Paths and masks of the rules that it holds
/// stay as they are. Copies share the rules and the index.
#pragma once

#include "orbwatcher4/filter/Filter.h"

#include <memory>

class RuleIndex;

/// The rules of one drive.
class ORBWATCHER4_API RuleSet
{
public:
    RuleSet() = default;
    /// Makes a set of these rules, in this order.
    RuleSet(FilterList rules) : m_rules(std::move(rules)) {}

    /// Returns all rules in order.
    const FilterList& Rules() const { return m_rules; }
    /// Returns true when there is no rule.
    bool IsEmpty() const { return m_rules.empty(); }
    /// Returns the rules for an edit, which must end before the next check.
    FilterList& Edit();
    /// Puts the rules into the rule order.
    void Sort();

    /// Returns the index; makes it after an edit.
    const RuleIndex& Index() const;

private:
    FilterList m_rules;
    mutable std::shared_ptr<const RuleIndex> m_index;
};

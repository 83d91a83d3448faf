// Items of one file that include and exclude the same: the exclusion wins, and the inclusion has no effect. One thread.
#pragma once

#include "orbwatcher4/filter/Filter.h"

#include <cstdint>
#include <vector>

class Contradictions
{
public:
    // Notes a rule as it was read. `item` is its number in the file.
    void Add(const FilterPtr& rule, std::uint32_t item);

    struct Pair {
        std::uint32_t included; // number of the item without effect
        std::uint32_t excluded; // number of the item that wins
    };
    // Returns the pairs in the order of the items that include. The time grows with the number of rules.
    std::vector<Pair> Find() const;

private:
    struct Entry {
        FilterPtr rule;
        std::uint32_t item;
    };
    std::vector<Entry> m_included;
    std::vector<Entry> m_excluded;
};

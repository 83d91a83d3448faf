// Rules that are found by their path in the system's form. A rule is compared only with those of the same path, however
// many there are. One thread.
#pragma once

#include "orbwatcher4/filter/DiskNames.h"
#include "orbwatcher4/filter/Filter.h"

#include <cstddef>
#include <unordered_map>

class RulesByPath
{
public:
    void Add(const FilterPtr& rule);

    // Returns true when one of the rules contradicts this one: it is of the opposite kind, with the same path, type,
    // plugin and mask.
    bool HasConflict(const Filter& rule);
    // Returns true when one of the rules is this one by value: with the same path, type and plugin, and written as an
    // exclusion as this one is.
    bool HasEqual(const Filter& rule);
    // Returns how many rules have been compared with another one.
    std::size_t Compared() const { return m_compared; }

private:
    struct Entry {
        CString path; // in the system's form
        FilterPtr rule;
    };
    template <typename Holds>
    bool HasSamePath(const Filter& rule, Holds holds);

    std::unordered_multimap<std::size_t, Entry> m_byPath;
    DiskNames m_names;
    std::size_t m_compared = 0;
};

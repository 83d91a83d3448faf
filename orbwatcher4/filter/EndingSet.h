// The endings of a mask. A path is searched for them without a comparison with each: the search costs the length of the
// longest ending, however many there are.
//
// Portable. Immutable; any thread.
#pragma once

#include "orbwatcher4/filter/FoldedTexts.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

class EndingSet
{
public:
    // Entries are separated by ";"; empty ones are skipped.
    explicit EndingSet(std::wstring_view mask);

    // Returns the number of entries in which the path ends, without regard to case. An entry that the mask contains
    // twice counts twice.
    std::size_t CountMatches(std::wstring_view path) const { return CountMatches(path, nullptr); }
    // `looks`, which may be null, counts the visited places of the table.
    std::size_t CountMatches(std::wstring_view path, std::size_t* looks) const;

    // Returns the memory in bytes.
    std::size_t MemoryHeld() const;

private:
    FoldedTexts m_endings;               // from the last unit to the first one, as paths are read
    std::vector<std::uint32_t> m_counts; // number of times that the mask contains the ending, by its number
    std::vector<bool> m_hasLength;       // by length: true when an ending has this length
};

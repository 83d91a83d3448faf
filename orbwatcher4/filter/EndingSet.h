// The endings of a mask. A path is searched for them without a comparison with each: the search costs the length of the
// longest ending, however many there are.
//
// Portable. Immutable; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
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
    struct Ending {
        std::uint32_t text; // place in m_texts
        std::uint32_t length;
        std::uint32_t count; // number of times that the mask contains it; 0: a free place
    };

    void Add(std::wstring_view entry);
    Ending& PlaceOf(std::uint64_t hash, std::u16string_view folded);
    const Ending* Find(std::uint64_t hash, std::u16string_view folded, std::size_t* looks) const;
    bool IsAt(const Ending& ending, std::u16string_view folded) const;

    std::u16string m_texts;        // case-folded, side by side
    std::vector<Ending> m_table;   // open addressing; its size is a power of two
    std::vector<bool> m_hasLength; // by length: true when an ending has this length
};

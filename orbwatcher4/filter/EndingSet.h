// The endings of a mask, found at the end of a path without looking at each of
// them: a look costs the length of the longest ending, however many there are.
//
// Portable. Not changed once it is made; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class EndingSet
{
public:
    // Entries are separated by ";"; empty ones mean nothing.
    explicit EndingSet(std::wstring_view mask);

    // How many entries the path ends in, without regard to case. An entry that stands there twice counts twice.
    std::size_t CountMatches(std::wstring_view path) const { return CountMatches(path, nullptr); }
    // `looks`, when given, counts the places of the table that were looked at.
    std::size_t CountMatches(std::wstring_view path, std::size_t* looks) const;

    // In bytes.
    std::size_t MemoryHeld() const;

private:
    struct Ending {
        std::uint32_t text; // place in m_texts
        std::uint32_t length;
        std::uint32_t count; // how often it stands in the mask; 0: a free place
    };

    void Add(std::wstring_view entry);
    Ending& PlaceOf(std::uint64_t hash, std::u16string_view folded);
    const Ending* Find(std::uint64_t hash, std::u16string_view folded, std::size_t* looks) const;
    bool IsAt(const Ending& ending, std::u16string_view folded) const;

    std::u16string m_texts;        // folded, side by side
    std::vector<Ending> m_table;   // open addressing; its size is a power of two
    std::vector<bool> m_hasLength; // by length: whether an ending is that long
};

// A hash table of distinct texts, folded and side by side. They are numbered from 0 on, in the order in which they were
// added. Callers hash a text unit by unit (FoldedHashSeed, MixFolded), so that all beginnings of a path cost one pass.
//
// Portable. Any thread reads it; one thread adds, before.
#pragma once

#include "support/CaseFold.h"

#include <cstddef>
#include <string>
#include <vector>

class FoldedTexts
{
public:
    static constexpr std::uint32_t None = ~std::uint32_t{0};

    // `most`: the largest number of texts.
    explicit FoldedTexts(std::size_t most);

    // Adds the text of these units, in any case of letters and in their order. Returns its number, which it may have
    // already.
    template <typename Units>
    std::uint32_t Add(const Units& units)
    {
        const std::uint16_t* const upper = UpperUnits();
        const std::size_t start = m_units.size();
        std::uint64_t hash = FoldedHashSeed;
        for (const wchar_t unit : units) {
            m_units += upper[static_cast<std::uint16_t>(unit)];
            hash = MixFolded(hash, m_units.back());
        }
        return NumberOfLast(start, hash);
    }
    // Returns the number of a folded text; None when it was not added. Adds the places that were visited to `looks`.
    std::uint32_t Find(std::u16string_view folded, std::uint64_t hash, std::size_t& looks) const;
    std::u16string_view Text(std::uint32_t number) const;
    std::size_t Count() const { return m_texts.size(); }

    void ShrinkToFit();
    // Returns the memory in bytes.
    std::size_t MemoryHeld() const;

private:
    struct Extent {
        std::uint32_t start; // in m_units
        std::uint32_t length;
    };
    struct Place {
        std::uint32_t tag = 0;  // the upper half of the hash
        std::uint32_t text = 0; // 0: free; counted from 1
    };

    // Returns the place of the text, or the place where it would be inserted.
    std::size_t PlaceOf(std::u16string_view folded, std::uint64_t hash, std::size_t& looks) const;
    // Numbers the text that was put behind the others, or takes it away when it is there already.
    std::uint32_t NumberOfLast(std::size_t start, std::uint64_t hash);

    std::u16string m_units;
    std::vector<Extent> m_texts;
    std::vector<Place> m_table; // open addressing; its size is a power of two
};

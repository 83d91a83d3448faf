#include "orbwatcher4/filter/FoldedTexts.h"

#include <bit>

namespace
{

std::uint32_t TagOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }

} // namespace

FoldedTexts::FoldedTexts(std::size_t most) : m_table(std::bit_ceil(2 * most + 1)) {}

std::u16string_view FoldedTexts::Text(std::uint32_t number) const
{
    return std::u16string_view(m_units).substr(m_texts[number].start, m_texts[number].length);
}

std::size_t FoldedTexts::PlaceOf(std::u16string_view folded, std::uint64_t hash, std::size_t& looks) const
{
    const std::size_t mask = m_table.size() - 1;
    // The low bits of the hash are weak.
    for (std::size_t at = (hash ^ TagOf(hash)) & mask;; at = (at + 1) & mask) {
        const Place& place = m_table[at];
        ++looks;
        if (place.text == 0 || (place.tag == TagOf(hash) && Text(place.text - 1) == folded))
            return at;
    }
}

std::uint32_t FoldedTexts::Find(std::u16string_view folded, std::uint64_t hash, std::size_t& looks) const
{
    return m_table[PlaceOf(folded, hash, looks)].text - 1; // None at a free place
}

std::uint32_t FoldedTexts::NumberOfLast(std::size_t start, std::uint64_t hash)
{
    const std::u16string_view folded = std::u16string_view(m_units).substr(start);
    std::size_t looks = 0;
    Place& place = m_table[PlaceOf(folded, hash, looks)];
    if (place.text == 0) {
        m_texts.push_back({static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(folded.size())});
        place = {TagOf(hash), static_cast<std::uint32_t>(m_texts.size())};
    } else {
        m_units.resize(start);
    }
    return place.text - 1;
}

void FoldedTexts::ShrinkToFit()
{
    m_units.shrink_to_fit();
    m_texts.shrink_to_fit();
}

std::size_t FoldedTexts::MemoryHeld() const
{
    return m_units.capacity() * sizeof(char16_t) + m_texts.capacity() * sizeof(Extent) +
           m_table.capacity() * sizeof(Place);
}

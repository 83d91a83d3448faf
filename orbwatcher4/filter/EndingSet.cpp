#include "orbwatcher4/filter/EndingSet.h"

#include "support/CaseFold.h"

#include <algorithm>
#include <bit>
#include <ranges>

namespace
{

// The low bits of the product are weak.
std::size_t FirstPlace(std::uint64_t hash) { return static_cast<std::size_t>(hash ^ (hash >> 32)); }

} // namespace

EndingSet::EndingSet(std::wstring_view mask)
{
    const auto entries = static_cast<std::size_t>(std::count(mask.begin(), mask.end(), L';')) + 1;
    m_table.resize(std::bit_ceil(2 * entries + 1));
    while (!mask.empty()) {
        const std::wstring_view entry = mask.substr(0, mask.find(L';'));
        if (!entry.empty())
            Add(entry);
        mask.remove_prefix(std::min(mask.size(), entry.size() + 1));
    }
    m_texts.shrink_to_fit();
}

// Adds the units from the last one to the first one, in the direction in which paths are read.
void EndingSet::Add(std::wstring_view entry)
{
    std::uint64_t hash = FoldedHashSeed;
    const std::uint16_t* const upper = UpperUnits();
    const std::size_t start = m_texts.size();
    for (const wchar_t unit : std::views::reverse(entry)) {
        m_texts += upper[static_cast<std::uint16_t>(unit)];
        hash = MixFolded(hash, m_texts.back());
    }
    Ending& ending = PlaceOf(hash, std::u16string_view(m_texts).substr(start));
    if (ending.count++ > 0) {
        m_texts.resize(start);
        return;
    }
    ending.text = static_cast<std::uint32_t>(start);
    ending.length = static_cast<std::uint32_t>(entry.size());
    if (m_hasLength.size() <= entry.size())
        m_hasLength.resize(entry.size() + 1);
    m_hasLength[entry.size()] = true;
}

bool EndingSet::IsAt(const Ending& ending, std::u16string_view folded) const
{
    return ending.length == folded.size() && std::u16string_view(m_texts).substr(ending.text, ending.length) == folded;
}

EndingSet::Ending& EndingSet::PlaceOf(std::uint64_t hash, std::u16string_view folded)
{
    std::size_t place = FirstPlace(hash) & (m_table.size() - 1);
    while (m_table[place].count != 0 && !IsAt(m_table[place], folded))
        place = (place + 1) & (m_table.size() - 1);
    return m_table[place];
}

const EndingSet::Ending* EndingSet::Find(std::uint64_t hash, std::u16string_view folded, std::size_t* looks) const
{
    for (std::size_t place = FirstPlace(hash) & (m_table.size() - 1);; place = (place + 1) & (m_table.size() - 1)) {
        if (looks)
            ++*looks;
        const Ending& ending = m_table[place];
        if (ending.count == 0)
            return nullptr;
        if (IsAt(ending, folded))
            return &ending;
    }
}

std::size_t EndingSet::CountMatches(std::wstring_view path, std::size_t* looks) const
{
    std::u16string folded;
    std::uint64_t hash = FoldedHashSeed;
    std::size_t matches = 0;
    const std::uint16_t* const upper = UpperUnits();
    const std::size_t longest = std::min(path.size(), m_hasLength.empty() ? 0 : m_hasLength.size() - 1);
    for (std::size_t length = 1; length <= longest; ++length) {
        folded += upper[static_cast<std::uint16_t>(path[path.size() - length])];
        hash = MixFolded(hash, folded.back());
        if (!m_hasLength[length])
            continue;
        if (const Ending* const ending = Find(hash, folded, looks))
            matches += ending->count;
    }
    return matches;
}

std::size_t EndingSet::MemoryHeld() const
{
    return m_texts.capacity() * sizeof(char16_t) + m_table.capacity() * sizeof(Ending) + m_hasLength.capacity() / 8;
}

#include "orbwatcher4/filter/EndingSet.h"

#include <algorithm>
#include <ranges>

EndingSet::EndingSet(std::wstring_view mask)
    : m_endings(static_cast<std::size_t>(std::count(mask.begin(), mask.end(), L';')) + 1)
{
    while (!mask.empty()) {
        const std::wstring_view entry = mask.substr(0, mask.find(L';'));
        mask.remove_prefix(std::min(mask.size(), entry.size() + 1));
        if (entry.empty())
            continue;
        const std::uint32_t number = m_endings.Add(std::views::reverse(entry));
        m_counts.resize(m_endings.Count());
        ++m_counts[number];
        if (m_hasLength.size() <= entry.size())
            m_hasLength.resize(entry.size() + 1);
        m_hasLength[entry.size()] = true;
    }
    m_endings.ShrinkToFit();
    m_counts.shrink_to_fit();
}

std::size_t EndingSet::CountMatches(std::wstring_view path, std::size_t* looks) const
{
    std::u16string folded;
    std::uint64_t hash = FoldedHashSeed;
    std::size_t matches = 0;
    std::size_t visited = 0;
    const std::uint16_t* const upper = UpperUnits();
    const std::size_t longest = std::min(path.size(), m_hasLength.empty() ? 0 : m_hasLength.size() - 1);
    for (std::size_t length = 1; length <= longest; ++length) {
        folded += upper[static_cast<std::uint16_t>(path[path.size() - length])];
        hash = MixFolded(hash, folded.back());
        if (!m_hasLength[length])
            continue;
        if (const std::uint32_t number = m_endings.Find(folded, hash, visited); number != FoldedTexts::None)
            matches += m_counts[number];
    }
    if (looks)
        *looks += visited;
    return matches;
}

std::size_t EndingSet::MemoryHeld() const
{
    return m_endings.MemoryHeld() + m_counts.capacity() * sizeof(std::uint32_t) + m_hasLength.capacity() / 8;
}

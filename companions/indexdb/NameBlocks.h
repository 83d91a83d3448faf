// Names, side by side in large blocks. A dropped name keeps its room; when that has become much, the owner renews the
// blocks and adds the names that it still uses. Not locked: the owner guards it, also for look-ups.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

class NameBlocks
{
public:
    static constexpr unsigned BlockBits = 18;
    static constexpr std::size_t BlockUnits = std::size_t(1) << BlockBits; // a name is not longer

    // mostUnits: the room for names; their places are 32 bits wide.
    explicit NameBlocks(std::uint64_t mostUnits) : m_most(static_cast<std::size_t>(mostUnits >> BlockBits)) {}

    // Returns the place of the name. Throws std::bad_alloc when there is no room.
    std::uint32_t Add(std::wstring_view name)
    {
        // A name that would end with the block goes into the next one: behind it, even an empty name has no place.
        if (m_blocks.empty() || m_used + name.size() >= BlockUnits) {
            if (m_blocks.size() >= m_most)
                throw std::bad_alloc();
            m_blocks.push_back(std::make_unique<wchar_t[]>(BlockUnits));
            m_used = 0;
        }
        const std::size_t place = (m_blocks.size() - 1) * BlockUnits + m_used;
        std::copy(name.begin(), name.end(), m_blocks.back().get() + m_used);
        m_used += name.size();
        return static_cast<std::uint32_t>(place);
    }
    std::wstring_view At(std::uint32_t place, std::size_t length) const
    {
        return {m_blocks[place >> BlockBits].get() + (place & (BlockUnits - 1)), length};
    }
    // Returns true when it is time to renew the blocks.
    bool Drop(std::size_t length)
    {
        m_dropped += length;
        return m_dropped > 4 * BlockUnits && m_dropped > m_blocks.size() * BlockUnits / 2;
    }
    // Returns the names so far, and is empty.
    NameBlocks Renew() { return std::exchange(*this, NameBlocks(std::uint64_t(m_most) << BlockBits)); }

private:
    std::vector<std::unique_ptr<wchar_t[]>> m_blocks;
    std::size_t m_most;     // blocks
    std::size_t m_used = 0; // in the last block
    std::size_t m_dropped = 0;
};

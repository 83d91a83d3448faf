// Names with keys that would put them all in one place of a table of the index: each look-up would then walk over all
// of them, while other threads wait for the cache.
#include "companions/indexdb/SlotTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace
{

// Returns a key that a table begins at its first place, if it mixes with the golden ratio alone, as many tables do.
std::uint64_t CrowdedKey(std::uint64_t number)
{
    constexpr std::uint64_t inverse = 0xF1DE83E19937733D; // of the golden ratio's factor 0x9E3779B97F4A7C15
    static_assert(inverse * 0x9E3779B97F4A7C15ull == 1);
    constexpr int placeBits = 20;
    const std::uint64_t high = number << placeBits;
    return (high << 32 | (high & 0xFFFFFFFF)) * inverse;
}

TEST(IndexFlood, KeysThatAreChosenForOnePlaceAreSpreadAllTheSame)
{
    constexpr std::size_t count = 4000;
    std::vector<std::uint64_t> keys;
    SlotTable table;
    for (std::size_t i = 0; i < count; ++i) {
        keys.push_back(CrowdedKey(i));
        table.Insert(keys.back(), static_cast<SlotTable::Slot>(i), [&](SlotTable::Slot slot) { return keys[slot]; });
    }
    for (std::size_t i = 0; i < count; ++i)
        EXPECT_EQ(table.Find(keys[i], [&](SlotTable::Slot slot) { return keys[slot] == keys[i]; }), i);
    EXPECT_LT(table.PlacesVisited(), 20 * count);
}

} // namespace

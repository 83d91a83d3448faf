#include "companions/indexdb/SlotTable.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace
{

// An array of keys, found by the table.
class Keys
{
    auto HashOf() const
    {
        return [this](SlotTable::Slot slot) { return m_keys[slot]; };
    }

public:
    SlotTable table;

    void Add(std::uint64_t key)
    {
        m_keys.push_back(key);
        table.Insert(key, static_cast<SlotTable::Slot>(m_keys.size() - 1), HashOf());
    }
    SlotTable::Slot Find(std::uint64_t key) const
    {
        return table.Find(key, [&](SlotTable::Slot slot) { return m_keys[slot] == key; });
    }
    bool Has(std::uint64_t key) const { return Find(key) != SlotTable::None; }
    void Erase(std::uint64_t key) { table.Erase(key, Find(key), HashOf()); }

private:
    std::vector<std::uint64_t> m_keys;
};

TEST(SlotTable, FindsNothingWhereNothingIs)
{
    Keys keys;
    EXPECT_FALSE(keys.Has(1));
    keys.Erase(1);
    EXPECT_EQ(keys.table.Size(), 0u);
}

TEST(SlotTable, FindsWhatWasPutInAndNothingElse)
{
    Keys keys;
    const std::uint64_t edges[] = {0, 1, ~std::uint64_t(0), ~std::uint64_t(0) - 1};
    for (const std::uint64_t key : edges)
        keys.Add(key);
    for (const std::uint64_t key : edges)
        EXPECT_TRUE(keys.Has(key));
    EXPECT_FALSE(keys.Has(2));
    EXPECT_EQ(keys.table.Size(), 4u);
}

TEST(SlotTable, KnowsTwoOfTheSameHashApart)
{
    SlotTable table;
    const auto hashOf = [](SlotTable::Slot) { return std::uint64_t(7); };
    const auto find = [&](SlotTable::Slot wanted) {
        return table.Find(7, [&](SlotTable::Slot slot) { return slot == wanted; });
    };
    table.Insert(7, 1, hashOf);
    table.Insert(7, 2, hashOf);
    table.Erase(7, 1, hashOf);
    EXPECT_EQ(find(1), SlotTable::None);
    EXPECT_EQ(find(2), 2u);
}

TEST(SlotTable, KeepsTheOthersWhereSomeGo)
{
    constexpr std::uint64_t count = 20000;
    Keys keys;
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> all;
    for (std::uint64_t i = 0; i < count; ++i)
        all.push_back(i % 2 ? i : random());
    for (const std::uint64_t key : all)
        keys.Add(key);
    for (std::uint64_t i = 0; i < count; ++i)
        if (i % 3 != 0)
            keys.Erase(all[i]);
    for (std::uint64_t i = 0; i < count; ++i)
        ASSERT_EQ(keys.Has(all[i]), i % 3 == 0) << i;
}

// However many keys there are, whether they lie side by side or not, and whatever has come and gone before.
TEST(SlotTable, LooksAtFewPlaces)
{
    constexpr std::uint64_t count = 50000;
    Keys keys;
    for (std::uint64_t i = 0; i < 4 * count; ++i) {
        keys.Add(i);
        if (i >= count)
            keys.Erase(i - count);
    }
    const std::uint64_t before = keys.table.PlacesVisited();
    for (std::uint64_t i = 0; i < count; ++i) {
        EXPECT_TRUE(keys.Has(3 * count + i));
        EXPECT_FALSE(keys.Has(i));
    }
    EXPECT_LT(keys.table.PlacesVisited() - before, 2 * 5 * count);
}

} // namespace

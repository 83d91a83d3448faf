#include "companions/indexdb/NameBlocks.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

constexpr std::size_t Block = NameBlocks::BlockUnits;

TEST(NameBlocks, NamesComeBackFromTheirPlaces)
{
    NameBlocks names(2 * Block);
    const std::wstring most(Block - 1, L'n');
    const std::uint32_t first = names.Add(L"first"), none = names.Add(L""), next = names.Add(most);
    EXPECT_EQ(names.At(first, 5), L"first");
    EXPECT_EQ(names.At(none, 0), L"");
    EXPECT_EQ(names.At(next, most.size()), most); // in a block of its own
    EXPECT_EQ(next, Block);
}

TEST(NameBlocks, ThereIsNoRoomBeyondTheBlocks)
{
    NameBlocks names(Block);
    const std::uint32_t place = names.Add(std::wstring(Block - 2, L'n'));
    EXPECT_THROW(names.Add(L"ab"), std::bad_alloc);
    EXPECT_EQ(names.At(place, 2), L"nn");
    EXPECT_NO_THROW(names.Add(L"a"));
}

TEST(NameBlocks, ItIsTimeToRenewThemWhenMuchAndMoreThanHalfIsDropped)
{
    NameBlocks names(100 * Block);
    for (int i = 0; i < 10; ++i)
        names.Add(std::wstring(Block - 1, L'n'));
    EXPECT_FALSE(names.Drop(5 * Block));
    EXPECT_TRUE(names.Drop(1));
    const NameBlocks before = names.Renew();
    EXPECT_EQ(names.Add(before.At(Block, 3)), 0u);
    EXPECT_EQ(names.At(0, 3), L"nnn");
    EXPECT_FALSE(names.Drop(4 * Block)); // counts anew
}

} // namespace

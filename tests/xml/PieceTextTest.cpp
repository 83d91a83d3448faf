#include "xml/PieceText.h"

#include <gtest/gtest.h>

namespace
{

std::uint32_t Stage(PieceText& text, std::wstring_view added) { return text.Stage(added); }

std::wstring Flat(PieceText& text)
{
    text.Flatten();
    return std::wstring(text.Base().View());
}

TEST(PieceText, IsWhatItWasGiven)
{
    PieceText text;
    text.Reset(L"abcdef");
    EXPECT_TRUE(text.IsFlat());
    EXPECT_EQ(text.Length(), 6u);
    EXPECT_EQ(Flat(text), L"abcdef");
}

TEST(PieceText, TakesTextBehindBeforeAndLast)
{
    PieceText text;
    text.Reset(L"abcdef");
    text.PlaceBehind(2, Stage(text, L"1"), 1);
    text.PlaceBefore(4, Stage(text, L"22"), 2);
    text.PlaceLast(Stage(text, L"3"), 1);
    text.PlaceBefore(0, Stage(text, L"0"), 1);
    EXPECT_FALSE(text.IsFlat());
    EXPECT_EQ(text.Length(), 11u);
    EXPECT_EQ(Flat(text), L"0ab1cd22ef3");
    EXPECT_TRUE(text.IsFlat());
    EXPECT_EQ(text.Length(), 11u);
}

TEST(PieceText, WhatIsPlacedBehindStandsBeforeWhatWasPlacedThereEarlier)
{
    PieceText text;
    text.Reset(L"ab");
    text.PlaceBehind(1, Stage(text, L"2"), 1);
    text.PlaceBehind(1, Stage(text, L"1"), 1);
    EXPECT_EQ(Flat(text), L"a12b");
}

TEST(PieceText, PlacesIntoWhatWasPlaced)
{
    PieceText text;
    text.Reset(L"ab");
    const auto staged = Stage(text, L"<>");
    text.PlaceBehind(1, staged, 2);
    text.PlaceBehind(staged + 1, Stage(text, L"x"), 1);
    EXPECT_EQ(Flat(text), L"a<x>b");
}

TEST(PieceText, BeginsEmpty)
{
    PieceText text;
    text.PlaceLast(Stage(text, L"abc"), 3);
    text.PlaceLast(Stage(text, L"def"), 3);
    EXPECT_EQ(Flat(text), L"abcdef");
}

TEST(PieceText, RemovesAcrossPieces)
{
    PieceText text;
    text.Reset(L"abcdef");
    text.PlaceBehind(2, Stage(text, L"12"), 2);
    text.PlaceBehind(4, Stage(text, L"34"), 2);
    text.Remove(1, 5);
    EXPECT_EQ(text.Length(), 2u);
    EXPECT_EQ(Flat(text), L"af");
    text.Remove(0, 2);
    EXPECT_EQ(text.Length(), 0u);
    EXPECT_EQ(Flat(text), L"");
}

TEST(PieceText, RangesAreWholeWhateverTheirPieces)
{
    PieceText text;
    text.Reset(L"abcdef");
    std::wstring scratch;
    EXPECT_EQ(text.Range(1, 4, scratch).data(), text.Base().GetString() + 1);
    const auto staged = Stage(text, L"xyz");
    text.PlaceBehind(3, staged, 3);
    EXPECT_EQ(text.Range(1, 5, scratch), L"bcxyzde");
    EXPECT_EQ(text.Range(1, 3, scratch), L"bc");
    EXPECT_EQ(text.Range(staged + 1, 5, scratch), L"yzde");
    EXPECT_EQ(text.Range(1, staged + 2, scratch), L"bcxy");
    EXPECT_EQ(text.Range(staged, staged + 3, scratch), L"xyz");
    EXPECT_EQ(text.Range(2, 2, scratch), L"");
}

TEST(PieceText, FlatteningTellsWhereEachUnitWent)
{
    PieceText text;
    text.Reset(L"abcdef");
    const auto staged = Stage(text, L"xy");
    text.PlaceBehind(3, staged, 2);
    text.Remove(0, 2);
    Relocation moved = text.Flatten();
    ASSERT_EQ(text.Base(), L"cxydef");
    EXPECT_EQ(moved(2), 0u);
    EXPECT_EQ(moved(5), 5u);
    EXPECT_EQ(moved(3), 3u);
    EXPECT_EQ(moved(staged), 1u);
    EXPECT_EQ(moved(staged + 1), 2u);
    EXPECT_EQ(moved(1), 0u);
}

TEST(PieceText, StagedTextIsForgottenWhenItIsNotPlaced)
{
    PieceText text;
    text.Reset(L"ab");
    const auto refused = Stage(text, L"no");
    text.Unstage(refused);
    EXPECT_EQ(Stage(text, L"yes"), refused);
    text.PlaceLast(refused, 3);
    EXPECT_EQ(Flat(text), L"abyes");
}

TEST(PieceText, AddingAtTheEndOfTheGivenTextDoesNotJoinTheTwo)
{
    PieceText text;
    text.Reset(L"ab");
    text.PlaceLast(Stage(text, L"cd"), 2);
    std::wstring scratch;
    EXPECT_EQ(text.Range(0, 2, scratch), L"ab");
    EXPECT_EQ(Flat(text), L"abcd");
}

TEST(PieceText, RefusesMoreThanTheLongestText)
{
    PieceText text(10);
    text.Reset(L"abcdef");
    EXPECT_TRUE(text.HasRoomFor(4));
    EXPECT_FALSE(text.HasRoomFor(5));
    EXPECT_FALSE(text.HasRoomFor(SIZE_MAX));
    text.Remove(0, 3);
    EXPECT_TRUE(text.HasRoomFor(7));
}

TEST(PieceText, KnowsWhenItsAddressesRunOut)
{
    PieceText text;
    text.Reset(L"ab");
    // Three are taken by the given text and the gap behind it.
    EXPECT_TRUE(text.HasAddressesFor(0xFFFFFFFFu - 4));
    EXPECT_FALSE(text.HasAddressesFor(0xFFFFFFFFu - 3));
    Stage(text, L"x");
    EXPECT_FALSE(text.HasAddressesFor(0xFFFFFFFFu - 4));
}

} // namespace

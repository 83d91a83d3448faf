#include "xml/TextPlace.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

TEST(TextPlaces, ThePlaceCountsLinesAndUnitsFromOne)
{
    TextPlaces places;
    const std::wstring text = L"ab\ncd\r\n\re";
    EXPECT_EQ(places.Of(text, 0), (TextPlace{1, 1}));
    EXPECT_EQ(places.Of(text, 1), (TextPlace{1, 2}));
    EXPECT_EQ(places.Of(text, 3), (TextPlace{2, 1}));
    EXPECT_EQ(places.Of(text, 7), (TextPlace{3, 1}));
    EXPECT_EQ(places.Of(text, 8), (TextPlace{4, 1}));
}

TEST(TextPlaces, AnEarlierPlaceIsFoundAfterALaterOne)
{
    TextPlaces places;
    const std::wstring text = L"a\nb\nc";
    EXPECT_EQ(places.Of(text, 4), (TextPlace{3, 1}));
    EXPECT_EQ(places.Of(text, 2), (TextPlace{2, 1}));
}

TEST(TextPlaces, APlaceBehindTheEndIsTheEnd)
{
    TextPlaces places;
    EXPECT_EQ(places.Of(L"a\n", 100), (TextPlace{2, 1}));
    places.Reset();
    EXPECT_EQ(places.Of(L"", 3), (TextPlace{1, 1}));
}

} // namespace

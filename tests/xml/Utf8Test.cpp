#include "xml/Utf8.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace
{

std::wstring Decode(const std::string& bytes)
{
    std::wstring units(CountUnits(bytes), L'\0');
    EXPECT_EQ(DecodeUtf8(bytes, units.data()), units.size());
    return units;
}

TEST(Utf8Decoding, KeepsAsciiAsItIs) { EXPECT_EQ(Decode("a<b>\x7F"), L"a<b>\x7F"); }

TEST(Utf8Decoding, ReadsSequencesOfTwoThreeAndFourBytes)
{
    EXPECT_EQ(Decode("\xC3\xA4"), L"\xE4");
    EXPECT_EQ(Decode("\xE2\x82\xAC"), L"\x20AC");
    EXPECT_EQ(Decode("\xF0\x9F\x98\x80"), (std::wstring{0xD83D, 0xDE00}));
}

TEST(Utf8Decoding, StrayContinuationByteCountsAsLeadOfTwo) { EXPECT_EQ(Decode("\x85\x81z"), L"\x0141z"); }

TEST(Utf8Decoding, SequenceCutByAsciiGivesQuestionMarkAndTheCharacter)
{
    EXPECT_EQ(Decode("\xC3"
                     "A"),
              L"?A");
    EXPECT_EQ(Decode("\xE2\x82"
                     "A--------"),
              L"?A--------");
    EXPECT_EQ(Decode("\xF0\x9F\x98<"), L"?<");
}

TEST(Utf8Decoding, BytesFromF8OnGiveQuestionMark) { EXPECT_EQ(Decode("\xF8\xFF."), L"??."); }

TEST(Utf8Decoding, LeadByteInsideSequenceContributesItsLowBits)
{
    // Only bytes below 80 hex end a sequence.
    EXPECT_EQ(Decode("\xC3\xC3"), L"\xC3");
}

TEST(Utf8Decoding, DecodedZeroEndsTheText)
{
    EXPECT_EQ(Decode(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(Decode(std::string("ab12345678\0cd1234567", 20)), L"ab12345678");
    EXPECT_EQ(Decode("ab\xC0\x80zz"), L"ab");
}

TEST(Utf8Decoding, SequenceCutByTheEndIsDropped)
{
    EXPECT_EQ(Decode("ab\xC3"), L"ab");
    EXPECT_EQ(Decode("ab\xE2\x82"), L"ab");
    EXPECT_EQ(Decode("ab\xF0\x9F\x98"), L"ab");
}

TEST(Utf8Decoding, CodePointsAboveTheLastPlaneStillGiveAPair)
{
    const std::wstring units = Decode("\xF7\xBF\xBF\xBF");
    ASSERT_EQ(units.size(), 2u);
    EXPECT_EQ(units[0], static_cast<wchar_t>(0xD800 | ((0x1FFFFF - 0x10000) >> 10 & 0x3FF)));
    EXPECT_EQ(units[1], static_cast<wchar_t>(0xDFFF));
}

TEST(Utf8Decoding, EncodedSurrogateIsKeptAsUnit) { EXPECT_EQ(Decode("\xED\xA0\x80x"), (std::wstring{0xD800, L'x'})); }

TEST(Utf8Decoding, RunsOfAsciiAndOthersMixAtEveryPlace)
{
    for (std::size_t before = 0; before < 20; ++before) {
        const std::string ascii(before, 'x');
        EXPECT_EQ(Decode(ascii + "\xC3\xA4" + std::string(17, 'y')),
                  std::wstring(before, L'x') + L"\xE4" + std::wstring(17, L'y'));
    }
}

TEST(Utf8Encoding, WritesOneToFourBytes)
{
    EXPECT_EQ(EncodeUtf8(L"A\xE4\x20AC"), "A\xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(EncodeUtf8(std::wstring{0xD83D, 0xDE00}), "\xF0\x9F\x98\x80");
    EXPECT_EQ(EncodeUtf8(std::wstring{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
}

TEST(Utf8Encoding, SurrogateJoinsWithWhateverFollows)
{
    // (0x41 & 3FF | (D800 & 3FF) << 10) + 10000
    EXPECT_EQ(EncodeUtf8(std::wstring{0xD800, L'A', L'B'}), "\xF0\x90\x81\x81"
                                                            "B");
    // A low one is no different.
    EXPECT_EQ(EncodeUtf8(std::wstring{0xDC01, L'A'}), "\xF0\x90\x91\x81");
}

TEST(Utf8Encoding, SurrogateAtTheEndBecomesQuestionMark)
{
    EXPECT_EQ(EncodeUtf8(std::wstring{L'a', 0xD800}), "a?");
    EXPECT_EQ(EncodeUtf8(std::wstring{L'a', 0xDFFF}), "a?");
}

TEST(Utf8, EveryUnitThatIsNoSurrogateSurvivesBothWays)
{
    std::wstring units;
    for (unsigned unit = 1; unit < 0x10000; ++unit)
        if (unit < 0xD800 || unit > 0xDFFF)
            units += static_cast<wchar_t>(unit);
    EXPECT_EQ(Decode(EncodeUtf8(units)), units);
}

} // namespace

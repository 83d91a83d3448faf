#include "xml/MarkupEscape.h"

#include <gtest/gtest.h>

namespace
{

std::wstring Decode(std::wstring_view text)
{
    std::wstring out;
    Unescape(text, out);
    return out;
}

TEST(MarkupEscape, TextLosesOnlyBracketsAndAmpersand)
{
    EXPECT_EQ(EscapeText(L"<a & 'b' \"c\">"), L"&lt;a &amp; 'b' \"c\"&gt;");
}

TEST(MarkupEscape, AttributeLosesQuotationMarksToo)
{
    EXPECT_EQ(EscapeAttribute(L"<&>'\""), L"&lt;&amp;&gt;&apos;&quot;");
}

TEST(MarkupEscape, TextOfSpecialCharactersOnlyIsWhole)
{
    std::wstring expected;
    for (int i = 0; i < 10000; ++i)
        expected += L"&amp;";
    EXPECT_EQ(EscapeText(std::wstring(10000, L'&')), expected);
}

TEST(MarkupEscape, EmptyTextStaysEmpty) { EXPECT_EQ(EscapeText(L""), L""); }

TEST(MarkupUnescape, KnowsTheFiveNames) { EXPECT_EQ(Decode(L"&lt;&amp;&gt;&apos;&quot;"), L"<&>'\""); }

TEST(MarkupUnescape, DecodesOnceOnly) { EXPECT_EQ(Decode(L"&amp;lt;"), L"&lt;"); }

TEST(MarkupUnescape, KeepsWhatItDoesNotKnow)
{
    for (const wchar_t* text :
         {L"&nbsp;", L"&LT;", L"&", L"&&", L"&lt", L"a & b", L"&am", L"&;", L"&#", L"&#x", L"&#;", L"&#x;"})
        EXPECT_EQ(Decode(text), text);
}

TEST(MarkupUnescape, ReadsDecimalAndHexadecimalNumbers)
{
    EXPECT_EQ(Decode(L"&#65;&#x41;&#x4a;&#x4A;"), L"AAJJ");
    EXPECT_EQ(Decode(L"&#8364;"), L"\x20AC");
}

TEST(MarkupUnescape, UpperCaseXIsKept) { EXPECT_EQ(Decode(L"&#X41;"), L"&#X41;"); }

TEST(MarkupUnescape, NumbersAreCutToOneUnit)
{
    EXPECT_EQ(Decode(L"&#x1F600;"), std::wstring(1, static_cast<wchar_t>(0xF600)));
    EXPECT_EQ(Decode(L"&#65601;"), L"A");
}

TEST(MarkupUnescape, SemicolonIsLookedForInSevenCharacters)
{
    EXPECT_EQ(Decode(L"&#000065;"), L"A");
    EXPECT_EQ(Decode(L"&#0000065;"), L"&#0000065;");
    EXPECT_EQ(Decode(L"&#x000041;"), L"A");
    EXPECT_EQ(Decode(L"&#x0000041;"), L"&#x0000041;");
}

TEST(MarkupUnescape, ForeignDigitsAndZeroAreKept)
{
    for (const wchar_t* text : {L"&#12a;", L"&#xG;", L"&#-1;", L"&# 1;", L"&#0;", L"&#x10000;", L"&#xx41;"})
        EXPECT_EQ(Decode(text), text);
}

TEST(MarkupUnescape, LoneSurrogatesPass)
{
    EXPECT_EQ(Decode(L"&#xD800;"), std::wstring(1, static_cast<wchar_t>(0xD800)));
}

TEST(MarkupUnescape, GivesBackWhatWasEscaped)
{
    const std::wstring text = L"C:\\a & b\\<x> 'y' \"z\" &lt; &#65;";
    EXPECT_EQ(Decode(EscapeText(text)), text);
    EXPECT_EQ(Decode(EscapeAttribute(text)), text);
}

} // namespace

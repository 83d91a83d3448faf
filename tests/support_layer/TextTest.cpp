#include "support/CaseFold.h"
#include "support/Numbers.h"
#include "support/SystemPath.h"
#include "support/Wildcard.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

TEST(CaseFold, ComparesWithTheUpperCaseTableAndNoLocale)
{
    EXPECT_TRUE(EqualNoCase(L"C:\\Ärger\\ñ", L"c:\\äRGER\\Ñ"));
    EXPECT_FALSE(EqualNoCase(L"straße", L"STRASSE"));
    EXPECT_FALSE(EqualNoCase(L"a", L"ab"));
    EXPECT_LT(CompareNoCase(L"a", L"B"), 0);
    EXPECT_GT(CompareNoCase(L"ab", L"A"), 0);
    EXPECT_EQ(HashNoCase(L"ÄB"), HashNoCase(L"äb"));
}

TEST(CaseFold, SurrogatesAreTheirOwnUpperCase)
{
    EXPECT_EQ(UpperUnit(0xD801), 0xD801);
    EXPECT_FALSE(EqualNoCase(std::wstring(1, wchar_t(0xD801)), std::wstring(1, wchar_t(0xD802))));
}

TEST(CaseFold, PrefixesAndSuffixesCompareOverTheirOwnLength)
{
    EXPECT_TRUE(BeginsNoCase(L"C:\\Docs\\a", L"c:\\dOCS"));
    EXPECT_FALSE(BeginsNoCase(L"C:", L"C:\\"));
    EXPECT_TRUE(EndsNoCase(L"a.TXT", L".txt"));
    EXPECT_FALSE(EndsNoCase(L"txt", L".txt"));
    EXPECT_TRUE(BeginsNoCase(L"", L""));
}

TEST(SystemPath, FullPathsGetThePrefixThatKeepsThemAsTheyAre)
{
    EXPECT_STREQ(SystemPath(L"c:\\a \\b.\\"), L"\\\\?\\c:\\a \\b.\\");
    EXPECT_STREQ(SystemPath(L"Z:\\"), L"\\\\?\\Z:\\");
    EXPECT_STREQ(SystemPath(L"C:\\a\\*"), L"\\\\?\\C:\\a\\*");
    EXPECT_STREQ(SystemPath(L"\\\\server\\share\\..."), L"\\\\?\\UNC\\server\\share\\...");
}

TEST(SystemPath, WhatTheSystemHasToRewriteStaysPlain)
{
    for (const wchar_t* path :
         {L"", L"C:", L"C:a", L"a\\b", L"\\a", L"C:\\a\\..\\b", L"C:\\.", L"C:\\a/b", L"C:\\a\\\\b", L"\\\\?\\C:\\a.",
          L"\\\\.\\pipe\\x", L"\\\\server\\share\\..\\x", L"\\\\"})
        EXPECT_STREQ(SystemPath(path), path);
}

TEST(SystemPath, ThePlainFormIsWithoutThePrefix)
{
    EXPECT_STREQ(PlainPath(L"\\\\?\\C:\\a."), L"C:\\a.");
    EXPECT_STREQ(PlainPath(L"\\\\?\\UNC\\server\\share"), L"\\\\server\\share");
    EXPECT_STREQ(PlainPath(L"C:\\a"), L"C:\\a");
    EXPECT_STREQ(PlainPath(L""), L"");
}

TEST(Wildcard, AStarIsAnyRunAndAQuestionMarkAnyOneUnit)
{
    EXPECT_TRUE(MatchWildcard(L"*", L""));
    EXPECT_TRUE(MatchWildcard(L"a*c", L"abbbc"));
    EXPECT_TRUE(MatchWildcard(L"a***c", L"ac"));
    EXPECT_TRUE(MatchWildcard(L"?.DOC", L"x.doc"));
    EXPECT_FALSE(MatchWildcard(L"?.doc", L".doc"));
    EXPECT_FALSE(MatchWildcard(L"a*c", L"abd"));
    EXPECT_FALSE(MatchWildcard(L"", L"a"));
    EXPECT_TRUE(MatchWildcard(L"*ab*ab", L"abxab"));
}

TEST(Wildcard, AHostilePatternIsCheap)
{
    const std::wstring text(20000, L'a');
    std::wstring pattern;
    for (int i = 0; i < 50; ++i)
        pattern += L"a*";
    EXPECT_FALSE(MatchWildcard(pattern + L"b", text));
}

TEST(Wildcard, AListMatchesWhenOneOfItsPatternsDoes)
{
    EXPECT_TRUE(MatchAnyWildcard(L"*.doc;*.XLS", L"a.xls"));
    EXPECT_FALSE(MatchAnyWildcard(L"*.doc;;", L""));
    EXPECT_FALSE(MatchAnyWildcard(L"", L"a"));
}

TEST(Numbers, ReadLikeTheRuntimeDoes)
{
    EXPECT_EQ(ToInt32(L""), 0);
    EXPECT_EQ(ToInt32(L"x1"), 0);
    EXPECT_EQ(ToInt32(L" \t-12abc"), -12);
    EXPECT_EQ(ToInt32(L"+7"), 7);
}

TEST(Numbers, ThatDoNotFitAreCutTo32Bits)
{
    EXPECT_EQ(ToInt32(L"4294967295"), -1);
    EXPECT_EQ(ToInt32(L"4294967296"), 0);
    EXPECT_EQ(ToInt32(L"2147483648"), INT32_MIN);
    EXPECT_EQ(ToInt32(L"-2147483649"), INT32_MAX);
}

TEST(Numbers, WithAPointReadLikeTheRuntimeDoes)
{
    EXPECT_EQ(ToDouble(L""), 0);
    EXPECT_EQ(ToDouble(L"  "), 0);
    EXPECT_EQ(ToDouble(L"x1"), 0);
    EXPECT_EQ(ToDouble(L"- 1"), 0);
    EXPECT_EQ(ToDouble(L"+-1"), 0);
    EXPECT_EQ(ToDouble(L"inf"), 0);
    EXPECT_EQ(ToDouble(L"nan"), 0);
    EXPECT_EQ(ToDouble(L"."), 0);
    EXPECT_EQ(ToDouble(L" \t0.25 and more"), 0.25);
    EXPECT_EQ(ToDouble(L"-1.5"), -1.5);
    EXPECT_EQ(ToDouble(L"+.5"), 0.5);
    EXPECT_EQ(ToDouble(L"3,7"), 3);
    EXPECT_EQ(ToDouble(L"1.2.3"), 1.2);
    EXPECT_EQ(ToDouble(L"2e3"), 2000);
    EXPECT_EQ(ToDouble(L"2e"), 2);
    EXPECT_EQ(ToDouble(L"0x10"), 0);
}

TEST(Numbers, WithAPointThatDoNotFitAreInfiniteOrZero)
{
    const double infinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(ToDouble(L"1e999"), infinite);
    EXPECT_EQ(ToDouble(L"-1e999"), -infinite);
    EXPECT_EQ(ToDouble(std::wstring(400, L'9')), infinite);
    EXPECT_EQ(ToDouble(L"1e-999"), 0);
    EXPECT_EQ(ToDouble(L"0." + std::wstring(400, L'0') + L"1"), 0);
}

} // namespace

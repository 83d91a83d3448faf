#include "orbwatcher4/filter/FilterRegex.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace
{

TEST(FilterRegex, MatchesAnywhereInTheText)
{
    FilterRegex regex;
    ASSERT_TRUE(regex.Compile(L"temp[0-9]+"));
    EXPECT_TRUE(regex.Match(L"C:\\x\\temp12.txt"));
    EXPECT_FALSE(regex.Match(L"C:\\x\\temp.txt"));
}

TEST(FilterRegex, OptionsAreTheDefaultOnes)
{
    FilterRegex regex;
    ASSERT_TRUE(regex.Compile(L"ABC"));
    EXPECT_FALSE(regex.Match(L"abc"));
    ASSERT_TRUE(regex.Compile(L"^.$"));
    EXPECT_TRUE(regex.Match(L"e"));
    EXPECT_FALSE(regex.Match(L"\u00E9")); // two bytes
}

TEST(FilterRegex, AnEmptyPatternIsRefusedWithItsText)
{
    FilterRegex regex;
    EXPECT_FALSE(regex.Compile(L""));
    EXPECT_EQ(regex.GetStatus(), FilterRegex::EmptyPattern);
    EXPECT_FALSE(regex.Attempted());
    EXPECT_STREQ(regex.GetError(), L"Specified RE pattern is empty");
}

TEST(FilterRegex, ABadPatternKeepsTheMatchersOwnWords)
{
    FilterRegex regex;
    EXPECT_FALSE(regex.Compile(L"("));
    EXPECT_EQ(regex.GetStatus(), FilterRegex::CompilationFailed);
    EXPECT_TRUE(regex.Attempted());
    EXPECT_STREQ(regex.GetError(), L"missing closing parenthesis");
    EXPECT_FALSE(regex.Match(L"("));
}

TEST(FilterRegex, ALoneSurrogateNeverThrows)
{
    const wchar_t lone[] = {0xD800, L'x', 0};
    FilterRegex regex;
    EXPECT_FALSE(regex.Compile(lone));
    EXPECT_EQ(regex.GetStatus(), FilterRegex::CompilationFailed);
    ASSERT_TRUE(regex.Compile(L"."));
    EXPECT_FALSE(regex.Match(lone));
}

TEST(FilterRegex, ALoneSurrogateAtTheEndIsNotTakenForTheEndBeforeIt)
{
    FilterRegex regex;
    ASSERT_TRUE(regex.Compile(L"\\.tmp$"));
    EXPECT_TRUE(regex.Match(L"x.tmp"));
    for (const wchar_t half : {L'\xD800', L'\xDBFF', L'\xDC00', L'\xDFFF'}) {
        EXPECT_FALSE(regex.Match((std::wstring(L"x.tmp") + half).c_str()));
        FilterRegex other;
        EXPECT_FALSE(other.Compile((std::wstring(L"x.tmp") + half).c_str()));
        EXPECT_EQ(other.GetStatus(), FilterRegex::CompilationFailed);
    }
}

TEST(FilterRegex, ACopySharesThePatternAndResettingOneLeavesTheOther)
{
    FilterRegex regex;
    ASSERT_TRUE(regex.Compile(L"a"));
    const FilterRegex copy(regex);
    regex.Reset();
    EXPECT_FALSE(regex.Match(L"a"));
    EXPECT_TRUE(copy.Match(L"a"));
}

TEST(FilterRegex, ACatastrophicPatternGivesUpWithoutAMatch)
{
    FilterRegex regex;
    ASSERT_TRUE(regex.Compile(L"(a+)+$"));
    EXPECT_EQ(regex.TryMatch((std::wstring(60, L'a') + L"b").c_str()), std::nullopt);
    EXPECT_EQ(regex.TryMatch(L"b"), std::optional(false));
    EXPECT_FALSE(regex.Match((std::wstring(60, L'a') + L"b").c_str()));
    EXPECT_FALSE(regex.Match((std::wstring(30000, L'a') + L"b").c_str()));
}

TEST(FilterRegex, AMatchThatNestsForEachUnitOfALongTextGivesUp)
{
    FilterRegex regex;
    ASSERT_TRUE(regex.Compile(L"^(a|b)*$"));
    EXPECT_EQ(regex.TryMatch(std::wstring(260, L'a').c_str()), std::optional(true));
    EXPECT_EQ(regex.TryMatch(std::wstring(300000, L'a').c_str()), std::nullopt);
}

TEST(FilterRegex, CopiesMatchOnSeveralThreadsAtOnce)
{
    FilterRegex regex;
    ASSERT_TRUE(regex.Compile(L"(a|b)+[0-9]"));
    const auto match = [copy = regex] {
        for (int i = 0; i < 50; ++i) {
            EXPECT_TRUE(copy.Match(L"C:\\abab7"));
            EXPECT_FALSE(copy.Match(L"C:\\abab"));
        }
    };
    std::thread other(match);
    match();
    other.join();
}

} // namespace

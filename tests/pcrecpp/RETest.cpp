#include "pcrecpp/RE.h"

#include "pcrecpp/Workspace.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>

namespace
{

using pcrecpp::RE;
using pcrecpp::Workspaces;

const std::optional<bool> Yes(true), No(false), GivenUp;

TEST(RE, MatchesAnywhereAndWithTheDefaultOptions)
{
    EXPECT_EQ(RE("b.d").DoMatch("abcde"), Yes);
    EXPECT_EQ(RE("B.D").DoMatch("abcde"), No);
    EXPECT_EQ(RE("^b").DoMatch("a\nb"), No);
    EXPECT_EQ(RE("a.b").DoMatch("a\nb"), No);
    EXPECT_EQ(RE("a$").DoMatch("a\n"), Yes);
    EXPECT_EQ(RE("").DoMatch(""), Yes);
}

TEST(RE, MatchesBytesUnlessThePatternAsksForCharacters)
{
    const std::string twoBytes = "\xC3\xA9";
    EXPECT_EQ(RE("^.$").DoMatch(twoBytes), No);
    EXPECT_EQ(RE("^..$").DoMatch(twoBytes), Yes);
    EXPECT_EQ(RE("(*UTF)^.$").DoMatch(twoBytes), Yes);
}

// The name that the option had in PCRE.
TEST(RE, TakesTheFormerNameOfTheOptionForCharacters)
{
    const std::string twoBytes = "\xC3\xA9";
    EXPECT_EQ(RE("(*UTF8)^.$").DoMatch(twoBytes), Yes);
    EXPECT_EQ(RE("(*UCP)(*UTF8)^\\w$").DoMatch(twoBytes), Yes);
    EXPECT_NE(RE("a(*UTF8)").error(), "");
}

// PCRE2 by itself refuses these.
TEST(RE, TakesAHyphenBehindAKindOfCharactersAsItself)
{
    const RE word("^[\\w-.]+$"), letters("^[[:alpha:]-z]+$"), two("^[\\d--][\\s-x]$");
    EXPECT_EQ(word.error(), "");
    EXPECT_EQ(word.DoMatch("a-b.c"), Yes);
    EXPECT_EQ(word.DoMatch("a/b"), No);
    EXPECT_EQ(letters.DoMatch("a-z"), Yes);
    EXPECT_EQ(two.DoMatch("--"), Yes);
    EXPECT_EQ(two.DoMatch("1y"), No);
    EXPECT_EQ(RE("[a-\\d]").error(), "invalid range in character class");
}

TEST(RE, TakesThePositionsAsLettersInsideAClass)
{
    const RE letters("^[\\A-Z]+$");
    EXPECT_EQ(letters.DoMatch("BCD"), Yes);
    EXPECT_EQ(letters.DoMatch("b"), No);
    EXPECT_EQ(RE("^[\\B\\R\\X\\z]+$").DoMatch("RXzB"), Yes);
    EXPECT_NE(RE("[\\N]").error(), "");
}

TEST(RE, AllowsThatAMatchBeginsInsideALookaround) { EXPECT_EQ(RE("a(?=b\\Kc)").DoMatch("abc"), Yes); }

TEST(RE, SaysWhyAPatternIsRefusedAndMatchesNothingThen)
{
    const RE refused("a(b");
    EXPECT_EQ(refused.error(), "missing closing parenthesis");
    EXPECT_EQ(refused.DoMatch("a(b"), No);
    EXPECT_EQ(RE("a(b)").error(), "");
}

TEST(RE, TakesATextWithBytesOfZeroToItsEnd) { EXPECT_EQ(RE("b$").DoMatch(std::string_view("a\0b", 3)), Yes); }

TEST(RE, AnswersOrGivesUpForEachPatternThatBacktracksWithoutEnd)
{
    const std::string text(200, 'a');
    EXPECT_EQ(RE("(a+)+$").DoMatch(text + "b"), GivenUp);
    EXPECT_EQ(RE("(a|aa)+$").DoMatch(text + "b"), GivenUp);
    EXPECT_EQ(RE("(?:a*)*\\1?$|(x+x+)+y").DoMatch(text), Yes);
    EXPECT_EQ(RE("(*NO_JIT)(a+)+$").DoMatch(text + "b"), GivenUp);
}

TEST(RE, NestsNoDeeperThanItsOwnStack)
{
    const std::string text(3'000'000, 'a');
    EXPECT_EQ(RE("^(a|b)*$").DoMatch(text), GivenUp);
    EXPECT_EQ(RE("(*NO_JIT)^(a|b)*$").DoMatch(text), GivenUp);
}

TEST(RE, MatchesOnSeveralThreadsAtOnce)
{
    const RE pattern("(a|b)+[0-9]$");
    const auto match = [&] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(pattern.DoMatch("C:\\abab7"), Yes);
            EXPECT_EQ(pattern.DoMatch("C:\\abab"), No);
        }
    };
    std::array<std::thread, 4> others;
    for (std::thread& other : others)
        other = std::thread(match);
    match();
    for (std::thread& other : others)
        other.join();
}

TEST(Workspaces, AreUsedAgainAndNeverByTwoAtOnce)
{
    Workspaces kept;
    auto first = kept.Take(), second = kept.Take();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->Result(), second->Result());
    const auto* const used = first->Result();
    kept.GiveBack(std::move(first));
    EXPECT_EQ(kept.Take()->Result(), used);
}

} // namespace

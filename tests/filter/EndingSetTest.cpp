#include "orbwatcher4/filter/EndingSet.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

TEST(EndingSet, CountsTheEntriesThatThePathEndsIn)
{
    const EndingSet endings(L".tmp;p;.doc;.docx;mp");
    EXPECT_EQ(endings.CountMatches(L"C:\\a.tmp"), 3u);
    EXPECT_EQ(endings.CountMatches(L"C:\\a.docx"), 1u);
    EXPECT_EQ(endings.CountMatches(L"C:\\a.txt"), 0u);
}

TEST(EndingSet, DisregardsCaseInEveryAlphabet)
{
    const EndingSet endings(L".TMP;\u00C4");
    EXPECT_EQ(endings.CountMatches(L"C:\\a.tMp"), 1u);
    EXPECT_EQ(endings.CountMatches(L"C:\\\u00E4"), 1u);
}

TEST(EndingSet, CountsAnEntryThatStandsThereTwiceTwice)
{
    EXPECT_EQ(EndingSet(L".tmp;.TMP;.tmp").CountMatches(L"a.tmp"), 3u);
}

TEST(EndingSet, TakesEmptyEntriesForNothing)
{
    EXPECT_EQ(EndingSet(L"").CountMatches(L"a"), 0u);
    EXPECT_EQ(EndingSet(L";;").CountMatches(L"a"), 0u);
    EXPECT_EQ(EndingSet(L";a;").CountMatches(L""), 0u);
}

TEST(EndingSet, FindsAnEntryThatIsTheWholePathAndNoneThatIsLonger)
{
    const EndingSet endings(L"C:\\a;xC:\\a");
    EXPECT_EQ(endings.CountMatches(L"c:\\A"), 1u);
}

TEST(EndingSet, LooksAtAFewPlacesAmongAThousandEndings)
{
    std::wstring mask;
    for (int i = 0; i < 1000; ++i)
        mask += L"." + std::to_wstring(i) + L";";
    const EndingSet endings(mask);
    std::size_t looks = 0;
    EXPECT_EQ(endings.CountMatches(L"C:\\folder\\file.999", &looks), 1u);
    EXPECT_LE(looks, 12u); // one chain for each of the three lengths
    // A list is kept in about as much memory again as its text.
    EXPECT_LE(endings.MemoryHeld(), 4 * mask.size() * sizeof(char16_t));
}

} // namespace

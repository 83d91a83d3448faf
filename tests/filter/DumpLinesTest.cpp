#include "orbwatcher4/core/pending/DumpLines.h"

#include <gtest/gtest.h>

namespace
{

std::vector<std::wstring> LinesOf(const std::wstring& text)
{
    std::vector<std::wstring> found;
    DumpLines lines;
    for (const wchar_t unit : text)
        lines.Feed(unit, [&](const CString& line) { found.push_back(line.GetString()); });
    return found;
}

TEST(DumpLines, EndAtALineFeedAndTheLastOneWithoutItIsDropped)
{
    EXPECT_EQ(LinesOf(L"a\nbc\nd"), (std::vector<std::wstring>{L"a", L"bc"}));
}

TEST(DumpLines, EmptyOnesAreNoPaths) { EXPECT_EQ(LinesOf(L"\n\na\n"), std::vector<std::wstring>{L"a"}); }

TEST(DumpLines, OfAFolderWith260UnitsAndItsBackslashAreKeptAndLongerOnesPassedOver)
{
    const std::wstring longest = std::wstring(260, L'x') + L"\\";
    EXPECT_EQ(LinesOf(longest + L"\n" + longest + L"y\nb\n"), (std::vector<std::wstring>{longest, L"b"}));
}

TEST(DumpLines, TellWhetherTheLastOneIsWhole)
{
    DumpLines lines;
    const auto ignore = [](const CString&) {};
    EXPECT_FALSE(lines.IsAtLineEnd());
    lines.Feed(L'a', ignore);
    EXPECT_FALSE(lines.IsAtLineEnd());
    lines.Feed(L'\n', ignore);
    EXPECT_TRUE(lines.IsAtLineEnd());
    lines.Feed(L'b', ignore);
    EXPECT_FALSE(lines.IsAtLineEnd());
}

TEST(DumpLines, OneThatWasPassedOverIsRemembered)
{
    DumpLines lines;
    const auto ignore = [](const CString&) {};
    for (const wchar_t unit : std::wstring(261, L'x') + L"\n")
        lines.Feed(unit, ignore);
    EXPECT_FALSE(lines.PassedOver());
    for (const wchar_t unit : std::wstring(262, L'x') + L"\n")
        lines.Feed(unit, ignore);
    EXPECT_TRUE(lines.PassedOver());
}

} // namespace

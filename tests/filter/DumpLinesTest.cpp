#include "orbwatcher4/core/DumpLines.h"

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

TEST(DumpLines, Of260UnitsAreKeptAndLongerOnesPassedOver)
{
    const std::wstring longest(260, L'x');
    EXPECT_EQ(LinesOf(longest + L"\n" + longest + L"y\nb\n"), (std::vector<std::wstring>{longest, L"b"}));
}

} // namespace

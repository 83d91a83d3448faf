#include "orbwatcher4/core/rescan/SkippedPaths.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

TEST(ListOfSkippedPaths, NamesEachPathOnceAndCountsThoseBeyondTheLimit)
{
    SkippedPathsList list;
    const auto addAll = [&] {
        for (std::size_t i = 0; i < SkippedPathsList::MostNamed + 3; ++i)
            list.Add(std::to_wstring(i).c_str(), PathOutcome::Missing);
    };
    addAll();
    const SkippedPaths first = list.Take();
    EXPECT_EQ(first.paths.size(), SkippedPathsList::MostNamed);
    EXPECT_EQ(first.more, 3u);
    list.Add(L"0", PathOutcome::Missing);
    EXPECT_TRUE(list.Take().paths.empty());
    list.Restart();
    addAll();
    EXPECT_EQ(list.Take().paths.size(), SkippedPathsList::MostNamed);
}

TEST(ListOfSkippedPaths, ForgetsAtTheNextRunWhatNobodyHasTaken)
{
    SkippedPathsList list;
    list.Add(L"a", PathOutcome::Unreadable);
    list.Restart();
    list.Add(L"b", PathOutcome::TooLong);
    const SkippedPaths taken = list.Take();
    ASSERT_EQ(taken.paths.size(), 1u);
    EXPECT_STREQ(taken.paths[0].path, L"b");
    EXPECT_EQ(taken.paths[0].why, PathOutcome::TooLong);
}

} // namespace

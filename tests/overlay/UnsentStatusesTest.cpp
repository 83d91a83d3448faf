#include "orbwatcher4/core/overlay/UnsentStatuses.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

CString Path(std::size_t number) { return CString((L"C:\\docs\\" + std::to_wstring(number)).c_str()); }

TEST(UnsentStatuses, TheLastStatusOfAPathReplacesTheOneBeforeInItsPlace)
{
    UnsentStatuses unsent;
    unsent.Set(L"C:\\a", 4);
    unsent.Set(L"C:\\b", 8);
    unsent.Set(L"c:\\A", 0);
    EXPECT_EQ(unsent.Size(), 2u);
    const auto first = unsent.Take(), second = unsent.Take();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->path, L"C:\\a");
    EXPECT_EQ(first->status, 0);
    EXPECT_EQ(second->path, L"C:\\b");
    EXPECT_FALSE(unsent.Take());
}

TEST(UnsentStatuses, ModificationsAddUpAsIfEachHadBeenSent)
{
    UnsentStatuses unsent;
    const auto told = [&](std::int32_t from) { return unsent.Take()->WithModifications(from); };
    unsent.AddModification(L"C:\\a");
    EXPECT_EQ(told(4), 5);
    for (int i = 0; i < 2; ++i)
        unsent.AddModification(L"C:\\a");
    EXPECT_EQ(told(4), 7);
    for (int i = 0; i < 3; ++i)
        unsent.AddModification(L"C:\\a");
    EXPECT_EQ(told(0), 3);
    unsent.AddModification(L"C:\\a");
    EXPECT_EQ(told(1), 3);
    unsent.AddModification(L"C:\\a");
    unsent.Set(L"C:\\a", 4);
    EXPECT_EQ(told(4), 4);
}

TEST(UnsentStatuses, TheOldestOnesAreDroppedWhenThereAreTooMany)
{
    UnsentStatuses unsent;
    for (std::size_t i = 0; i < UnsentStatuses::Most; ++i)
        EXPECT_TRUE(unsent.Set(Path(i), 4));
    EXPECT_TRUE(unsent.Set(Path(0), 0)); // takes no room
    EXPECT_FALSE(unsent.Set(Path(UnsentStatuses::Most), 4));
    EXPECT_FALSE(unsent.AddModification(Path(UnsentStatuses::Most + 1)));
    EXPECT_EQ(unsent.Size(), UnsentStatuses::Most);
    EXPECT_EQ(unsent.Take()->path, Path(2));
    unsent.Clear();
    EXPECT_TRUE(unsent.Set(Path(2), 4));
    EXPECT_EQ(unsent.Size(), 1u);
}

} // namespace

#include "companions/indexdb/FolderTable.h"

#include <gtest/gtest.h>

namespace
{

TEST(FolderTable, AFolderHasOneNumberForEachSpelling)
{
    FolderTable folders;
    const std::uint32_t one = folders.Enter(L"C:\\Docs");
    EXPECT_EQ(folders.Enter(L"C:\\Docs"), one);
    const std::uint32_t other = folders.Enter(L"c:\\DOCS");
    EXPECT_NE(other, one);
    EXPECT_EQ(folders.Path(one), L"C:\\Docs");
    EXPECT_EQ(folders.Path(other), L"c:\\DOCS");
    EXPECT_EQ(folders.Id(one), PathHash64(L"C:\\Docs"));
    EXPECT_EQ(folders.Size(), 2u);
}

TEST(FolderTable, NamesAloneAreInAFolderWithoutAKey)
{
    FolderTable folders;
    const std::uint32_t none = folders.Enter(L"");
    EXPECT_EQ(folders.Id(none), 0u);
    EXPECT_TRUE(folders.Path(none).empty());
    EXPECT_FALSE(folders.HasItemsBelow(L""));
}

TEST(FolderTable, TheLastItemTakesItsFolderAndTheFoldersAboveAway)
{
    FolderTable folders;
    const std::uint32_t deep = folders.Enter(L"C:\\a\\b");
    folders.Enter(L"C:\\a\\b");
    const std::uint32_t above = folders.Enter(L"C:\\A");
    folders.Leave(deep);
    EXPECT_TRUE(folders.HasItemsBelow(L"c:\\a\\B"));
    folders.Leave(deep);
    EXPECT_FALSE(folders.HasItemsBelow(L"C:\\a\\b"));
    EXPECT_TRUE(folders.HasItemsBelow(L"C:\\a"));
    folders.Leave(above);
    EXPECT_FALSE(folders.HasItemsBelow(L"C:"));
    EXPECT_EQ(folders.Size(), 0u);
}

TEST(FolderTable, TheNumberOfAFolderThatIsGoneIsUsedAgain)
{
    FolderTable folders;
    const std::uint32_t gone = folders.Enter(L"C:\\a");
    folders.Leave(gone);
    EXPECT_EQ(folders.Enter(L"C:\\b"), gone);
    EXPECT_EQ(folders.Path(gone), L"C:\\b");
}

} // namespace

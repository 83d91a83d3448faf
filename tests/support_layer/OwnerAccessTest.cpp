#include "support/OwnerAccess.h"
#include "support/Handle.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

namespace
{

TEST(OwnerAccess, OfAFileKeepsOthersFromReadingIt)
{
    const TempFolder folder;
    OwnerAccess access;
    ASSERT_NE(access.Attributes(), nullptr);
    const FileHandle file(CreateFileW(folder.Path(L"own"), GENERIC_WRITE, 0, access.Attributes(), CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(static_cast<bool>(file));
    EXPECT_TRUE(OnlyItsOwnerReads(folder.Path(L"own").GetString()));
    folder.WriteBytes(L"anybody's", "x");
    EXPECT_FALSE(OnlyItsOwnerReads(folder.Path(L"anybody's").GetString()));
}

TEST(OwnerAccess, LeavesTheFileToItsOwner)
{
    const TempFolder folder;
    OwnerAccess access;
    FileHandle(CreateFileW(folder.Path(L"own"), GENERIC_WRITE, 0, access.Attributes(), CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL, nullptr));
    folder.WriteBytes(L"own", "bytes");
    EXPECT_EQ(folder.ReadBytes(L"own"), "bytes");
    EXPECT_TRUE(DeleteFileW(folder.Path(L"own")));
}

} // namespace

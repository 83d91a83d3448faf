#include "support/FileTimes.h"
#include "support/Handle.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

TEST(FileTimes, ADirectoryReportsItsCreationTimeAsModificationTime)
{
    const TempFolder folder;
    std::uint64_t created = 0, modified = 1;
    ASSERT_TRUE(GetFileTimes(folder.Path(), true, &created, &modified));
    EXPECT_EQ(created, modified);
    EXPECT_NE(created, 0u);
}

TEST(FileTimes, AFileReportsItsLastWriteTime)
{
    const TempFolder folder;
    folder.WriteBytes(L"a", "x");
    const std::uint64_t wanted = 132000000000000000ull;
    {
        const FileHandle file(
            CreateFileW(folder.Path(L"a"), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
        const FILETIME time = {static_cast<DWORD>(wanted), static_cast<DWORD>(wanted >> 32)};
        ASSERT_TRUE(SetFileTime(file.Get(), nullptr, nullptr, &time));
    }
    std::uint64_t modified = 0;
    ASSERT_TRUE(GetFileTimes(folder.Path(L"a"), false, nullptr, &modified));
    EXPECT_EQ(modified, wanted);
}

TEST(FileTimes, AFileThatIsOpenWithoutReadSharingFailsAndLeavesTheOutputs)
{
    const TempFolder folder;
    folder.WriteBytes(L"a", "x");
    const FileHandle open(CreateFileW(folder.Path(L"a"), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    std::uint64_t created = 7, modified = 8;
    EXPECT_FALSE(GetFileTimes(folder.Path(L"a"), false, &created, &modified));
    EXPECT_EQ(created, 7u);
    EXPECT_EQ(modified, 8u);
}

TEST(Handles, ClosingKeepsTheLastError)
{
    KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    SetLastError(4711);
    event.Reset();
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_FALSE(event);
}

} // namespace

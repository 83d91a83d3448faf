// Directory entries, and what it means that there is none.
#include "orbwatcher4/core/environment/FileFindData.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

TEST(FileFindData, AMissingFileIsLoggedInTwoLinesAndLeavesTheRecordZeroed)
{
    const TempFolder folder;
    LogCapture log;
    WIN32_FIND_DATAW data;
    data.dwFileAttributes = 5;
    EXPECT_FALSE(GetFileFindData(folder.Path(L"missing"), &data));
    EXPECT_EQ(data.dwFileAttributes, 0u);
    EXPECT_EQ(log.Lines().size(), 2u);
    EXPECT_TRUE(log.Has(L"File: " + std::wstring(folder.Path(L"missing"))));
    EXPECT_TRUE(log.Has(L"Last Error: 2"));
}

TEST(FileFindData, AFolderIsFoundWithAndWithoutItsBackslash)
{
    const TempFolder folder;
    folder.WriteBytes(L"d\\f.txt", "x");
    WIN32_FIND_DATAW data;
    for (const wchar_t* name : {L"d", L"d\\"}) {
        ASSERT_TRUE(GetFileFindData(folder.Path(name), &data));
        EXPECT_STREQ(data.cFileName, L"d");
    }
}

TEST(FileFindData, WildcardsFindTheFirstMatch)
{
    const TempFolder folder;
    folder.WriteBytes(L"only.txt", "x");
    WIN32_FIND_DATAW data;
    ASSERT_TRUE(GetFileFindData(folder.Path(L"o*.txt"), &data));
    EXPECT_STREQ(data.cFileName, L"only.txt");
}

} // namespace

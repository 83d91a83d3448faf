#include "support/FileDigest.h"

#include <gtest/gtest.h>

namespace
{

TEST(FileDigest, IsTheLengthAndTheChecksumOfThePage)
{
    FileDigest digest;
    EXPECT_EQ(digest.Text(), L"0 cbf29ce484222325");
    digest.Add("a", 1);
    EXPECT_EQ(digest.Text(), L"1 af63dc4c8601ec8c");
}

TEST(FileDigest, DoesNotDependOnThePiecesInWhichBytesAreAdded)
{
    FileDigest whole, pieces;
    whole.Add("abcdef", 6);
    pieces.Add("abc", 3);
    pieces.Add("", 0);
    pieces.Add("def", 3);
    EXPECT_EQ(whole.Text(), pieces.Text());
    EXPECT_EQ(pieces.Length(), 6u);
}

} // namespace

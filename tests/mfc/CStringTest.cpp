#include "mfc/CString.h"

#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <thread>

namespace
{

TEST(CString, IsOnePointerWideAndEmptyWithoutAnAllocation)
{
    const CString text;
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.GetString(), CString().GetString());
    EXPECT_EQ(sizeof(CString), sizeof(void*));
}

TEST(CString, CopiesShareUntilOneIsChanged)
{
    CString first(L"C:\\Docs");
    CString second = first;
    EXPECT_EQ(first.GetString(), second.GetString());
    second += L"\\a";
    EXPECT_STREQ(first, L"C:\\Docs");
    EXPECT_STREQ(second, L"C:\\Docs\\a");
}

TEST(CString, AppendingAPartOfItselfKeepsTheText)
{
    CString text(L"abc");
    text += text;
    text.Append(text.GetString() + 1, 2);
    EXPECT_STREQ(text, L"abcabcbc");
}

TEST(CString, ReplaceIsExactAndCountsEveryOccurrence)
{
    CString text(L"c:\\a\\C:\\b\\c:\\");
    EXPECT_EQ(text.Replace(L"c:\\", L"E:\\"), 2);
    EXPECT_STREQ(text, L"E:\\a\\C:\\b\\E:\\");
    EXPECT_EQ(text.Replace(L"", L"x"), 0);
}

TEST(CString, LowerCasesOnlyTheLettersAToZ)
{
    CString text(L"ÄBC-xyz");
    EXPECT_STREQ(text.MakeLower(), L"Äbc-xyz");
    EXPECT_STREQ(text.MakeUpper(), L"ÄBC-XYZ");
}

TEST(CString, CutsAndFindsWithinItsBounds)
{
    const CString text(L"path\\name.ext");
    EXPECT_STREQ(text.Left(4), L"path");
    EXPECT_STREQ(text.Right(3), L"ext");
    EXPECT_STREQ(text.Mid(5, 4), L"name");
    EXPECT_STREQ(text.Mid(50), L"");
    EXPECT_EQ(text.ReverseFind(L'.'), 9);
    EXPECT_EQ(text.Find(L'x', 50), -1);
    EXPECT_EQ(text.Find(L"name", 2), 5);
}

TEST(CString, ABufferThatIsGivenBackHoldsWhatWasWritten)
{
    CString text;
    wchar_t* buffer = text.GetBuffer(10);
    buffer[0] = L'x';
    buffer[1] = 0;
    text.ReleaseBuffer();
    EXPECT_STREQ(text, L"x");
    text.GetBuffer(10);
    text.ReleaseBuffer(0);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(CString, MoreThanItCanHoldIsRefusedAndLeavesItAsItWas)
{
    CString text(L"abc");
    EXPECT_THROW(text.GetBuffer(INT_MAX), std::bad_alloc);
    EXPECT_STREQ(text, L"abc");
}

TEST(CString, CopiesOfOneTextAreChangedAndLetGoOnSeveralThreadsAtOnce)
{
    const CString text(L"C:\\Docs");
    const auto use = [copy = text] {
        for (int i = 0; i < 1000; ++i) {
            CString own = copy;
            const CString second = own;
            own += L"\\x";
            ASSERT_STREQ(own, L"C:\\Docs\\x");
            ASSERT_STREQ(second, L"C:\\Docs");
        }
    };
    std::thread other(use);
    use();
    other.join();
    EXPECT_STREQ(text, L"C:\\Docs");
}

#ifdef _WIN32
TEST(CString, FormatsAreTheMicrosoftWideOnes)
{
    CString text;
    text.Format(L"%s|%d|%I64u", L"wide", -3, 18446744073709551615ull);
    EXPECT_STREQ(text, L"wide|-3|18446744073709551615");
}
#endif

} // namespace

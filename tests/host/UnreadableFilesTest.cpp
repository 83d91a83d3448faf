// When files that could not be read are tried again.
#include "host/UnreadableFiles.h"

#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace
{

using std::chrono::seconds;

class Unreadable : public testing::Test
{
protected:
    TempFolder folder;
    UnreadableFiles files;
    const UnreadableFiles::Time start{std::chrono::hours(1)};

    std::wstring Make(const wchar_t* name)
    {
        const std::wstring path = folder.Path(name).GetString();
        CloseHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        return path;
    }
    bool IsTried(int afterSeconds) { return !files.TakeDue(start + seconds(afterSeconds), false).empty(); }
};

TEST_F(Unreadable, AreTriedAfterPausesThatGrow)
{
    files.Note(Make(L"a"), start);
    EXPECT_FALSE(IsTried(4));
    EXPECT_TRUE(IsTried(5));
    EXPECT_FALSE(IsTried(14));
    EXPECT_TRUE(IsTried(15));
    EXPECT_FALSE(IsTried(34));
    EXPECT_TRUE(IsTried(35));
}

TEST_F(Unreadable, EachHasPausesOfItsOwn)
{
    const std::wstring first = Make(L"a"), second = Make(L"b");
    files.Note(first, start);
    files.Note(second, start + seconds(4));
    EXPECT_EQ(files.TakeDue(start + seconds(5), false), std::vector<std::wstring>{first});
    files.Note(first, start + seconds(6));
    EXPECT_EQ(files.TakeDue(start + seconds(9), false), std::vector<std::wstring>{second});
    EXPECT_EQ(files.TakeDue(start + seconds(15), false), std::vector<std::wstring>{first});
    EXPECT_EQ(files.Count(), 2u);
}

TEST_F(Unreadable, AreTriedAtOnceAtTheEnd)
{
    files.Note(Make(L"a"), start);
    EXPECT_EQ(files.TakeDue(start, true).size(), 1u);
}

TEST_F(Unreadable, ThoseThatAreReadOrGoneAreTriedNoMore)
{
    const std::wstring read = Make(L"read"), gone = Make(L"gone");
    files.Note(read, start);
    files.Note(gone, start);
    files.Note(L"Q:\\away", start); // its drive may return with it
    files.Forget(read);
    DeleteFileW(gone.c_str());
    EXPECT_EQ(files.TakeDue(start + seconds(5), false), std::vector<std::wstring>{L"Q:\\away"});
    files.Forget(L"Q:\\away");
    EXPECT_TRUE(files.TakeDue(start + seconds(100), true).empty());
}

} // namespace

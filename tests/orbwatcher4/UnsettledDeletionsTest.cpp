// Pending deletions that cannot be settled yet: how often the hand-out has them processed.
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/environment/Retry.h"
#include "tests/orbwatcher4/DeletionsFixture.h"
#include "tests/orbwatcher4/DiskCalls.h"

namespace
{

class UnsettledDeletions : public DeletionsFixture
{
protected:
    static constexpr int Many = 20;

    // Makes a deletion pending on a drive that does not exist.
    CString DeleteOnAwayDrive(const std::wstring& name)
    {
        const CString path = (L"Y:\\away\\" + name).c_str();
        RecordWithTime(path, 1);
        MarkDeleted(path);
        return path;
    }
    void DeleteManyOnAwayDrive()
    {
        for (int i = 0; i < Many; ++i)
            DeleteOnAwayDrive(L"gone " + std::to_wstring(i));
    }
    void AddFiles()
    {
        for (int i = 0; i < Many; ++i)
            Handler().OnFileAdded(Write(L"file " + std::to_wstring(i)));
    }
    // Calls the hand-out once, when it has nothing to give.
    void HandOutNothing() { EXPECT_TRUE(Drain().empty()); }
    int Processings() { return log.Count(L"COrbWatcher::ImmediateProcessDeletedFiles: begin"); }
};

TEST_F(UnsettledDeletions, AreProcessedOnceWhileManyFilesAreHandedOut)
{
    for (int i = 0; i < Many; ++i) {
        DeleteOnAwayDrive(L"gone " + std::to_wstring(i));
        Handler().OnFileAdded(Write(L"file " + std::to_wstring(i)));
    }
    EXPECT_EQ(Drain().size(), std::size_t(Many));
    EXPECT_EQ(Processings(), 1);
}

TEST_F(UnsettledDeletions, DoNotDelayANewDeletion)
{
    DeleteManyOnAwayDrive();
    HandOutNothing();
    for (const wchar_t* name : {L"a.txt", L"b.txt"}) {
        const CString path = DeleteIndexed(name);
        HandOutNothing();
        EXPECT_FALSE(Pending(path));
    }
    EXPECT_EQ(told.size(), 2u);
    EXPECT_EQ(Processings(), 3);
}

TEST_F(UnsettledDeletions, AreProcessedAgainAfterPausesThatGrowToAMinute)
{
    DeleteManyOnAwayDrive();
    std::vector<int> seconds;
    for (int second = 0; second < 250; ++second) {
        const int before = Processings();
        HandOutNothing();
        if (Processings() != before)
            seconds.push_back(second);
        clock.Advance(1);
    }
    EXPECT_EQ(seconds, (std::vector<int>{0, 1, 3, 7, 15, 31, 63, 123, 183, 243}));
}

TEST_F(UnsettledDeletions, BeginTheirPausesAnewWithANewDeletion)
{
    DeleteManyOnAwayDrive();
    for (int second = 0; second < 250; ++second) {
        HandOutNothing();
        clock.Advance(1);
    }
    DeleteOnAwayDrive(L"a.txt");
    HandOutNothing();
    const int before = Processings();
    clock.Advance(1);
    HandOutNothing();
    EXPECT_EQ(Processings(), before + 1);
}

TEST_F(UnsettledDeletions, AreProcessedByEachExplicitCall)
{
    DeleteManyOnAwayDrive();
    for (int i = 0; i < 3; ++i)
        watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(Processings(), 3);
}

TEST_F(UnsettledDeletions, OfADriveThatIsBackAreSettledWithinTheLongestPause)
{
    const CString path = DeleteIndexed(L"a.txt");
    const DiskCalls calls(RootOf(tree));
    calls.SetAway(true);
    for (int second = 0; second < 300; ++second) {
        HandOutNothing();
        clock.Advance(1);
    }
    EXPECT_TRUE(Pending(path));
    calls.SetAway(false);
    clock.Advance(Retry::LongestPause);
    HandOutNothing();
    EXPECT_FALSE(Pending(path));
    EXPECT_EQ(told.size(), 1u);
}

TEST_F(UnsettledDeletions, OfALockedIndexAreSettledWithinTheLongestPauseAndOpenItNoMoreOftenThanThat)
{
    const CString path = DeleteIndexed(L"a.txt");
    AddFiles();
    ASSERT_TRUE(Index().BeginBatch());
    EXPECT_EQ(Drain().size(), std::size_t(Many));
    EXPECT_EQ(Processings(), 1);
    EXPECT_TRUE(Pending(path));
    ASSERT_TRUE(Index().CommitBatch());
    clock.Advance(Retry::LongestPause);
    HandOutNothing();
    EXPECT_FALSE(Pending(path));
}

TEST_F(UnsettledDeletions, OfReplacedFoldersAreProcessedOnceWhileManyFilesAreHandedOut)
{
    const CString gone = InTree(L"d\\gone.txt");
    RecordWithTime(gone, 1);
    Handler().OnFileRemoved(InTree(L"d"));
    Handler().OnFileAdded(Write(L"d"));
    ASSERT_TRUE(PendingBelow(InTree(L"d")));
    AddFiles();
    CIndexDB::ClearCache(); // nothing can be settled
    EXPECT_EQ(Drain().size(), std::size_t(Many + 1));
    EXPECT_EQ(Processings(), 1);
    EXPECT_TRUE(PendingBelow(InTree(L"d")));
}

} // namespace

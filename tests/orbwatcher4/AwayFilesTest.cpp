// Pending files on drives that are away: the hand-out keeps them, whatever happens to the drive, and asks little.
#include "orbwatcher4/core/environment/FileFindData.h"
#include "tests/orbwatcher4/DiskCalls.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class AwayFiles : public WatcherFixture
{
protected:
    static constexpr int Many = 20;

    AwayFiles() { SelectTree(); }

    void MakePending(const CString& path) { Parts().pending.Put(path, std::make_shared<Notification>()); }
    void MakePendingOnY(int number) { MakePending((L"Y:\\away\\file " + std::to_wstring(number)).c_str()); }
    void AddFile(int number) { Handler().OnFileAdded(Write(L"file " + std::to_wstring(number))); }
    bool HandsOutOne()
    {
        QueueDatum datum;
        return watcher.GetSingleNotification(nullptr, datum);
    }
};

TEST_F(AwayFiles, CostOneRoundOfQuestionsInACallAndOneQuestionInTheNext)
{
    for (int i = 0; i < Many; ++i)
        MakePendingOnY(i);
    const DiskCalls calls(L"Y:\\");
    EXPECT_FALSE(HandsOutOne());
    EXPECT_EQ(calls.All(), (DiskCalls::Counts{{"GetFileAttributesExW", 1}, {"GetFileAttributesW", 3}}));
    calls.Clear();
    EXPECT_FALSE(HandsOutOne());
    EXPECT_EQ(calls.All(), (DiskCalls::Counts{{"GetFileAttributesW", 1}}));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), Many);
}

TEST_F(AwayFiles, CostOneQuestionForEachFileThatIsHandedOutBetweenThem)
{
    for (int i = 0; i < Many; ++i) {
        MakePendingOnY(2 * i);
        MakePendingOnY(2 * i + 1);
        AddFile(i);
    }
    const DiskCalls calls(L"Y:\\");
    EXPECT_EQ(Drain().size(), std::size_t(Many));
    EXPECT_EQ(calls.Sum(), 4 + Many);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 2 * Many);
}

TEST_F(AwayFiles, AreHandedOutByTheFirstCallAfterTheirReturn)
{
    for (int i = 0; i < Many; ++i)
        AddFile(i);
    const DiskCalls calls(RootOf(tree));
    calls.SetAway(true);
    for (int call = 0; call < 3; ++call)
        EXPECT_FALSE(HandsOutOne());
    calls.SetAway(false);
    EXPECT_EQ(Drain().size(), std::size_t(Many));
}

TEST_F(AwayFiles, AreNotDroppedWhenTheDriveGoesAtAnyQuestion)
{
    constexpr int files = 4;
    for (int questions = 0; questions < 3 * files; ++questions) {
        watcher.ClearNotifications();
        for (int i = 0; i < files; ++i)
            AddFile(i);
        std::size_t given = 0;
        {
            const DiskCalls calls(RootOf(tree));
            calls.GoAwayAfter(questions);
            given = Drain().size();
        }
        EXPECT_EQ(given + static_cast<std::size_t>(watcher.GetTotalFilesInMem()), std::size_t(files)) << questions;
    }
}

TEST_F(AwayFiles, ThatAreGoneWhenTheirDriveIsBackAreDropped)
{
    AddFile(0);
    {
        const DiskCalls calls(RootOf(tree));
        calls.SetAway(true);
        EXPECT_FALSE(HandsOutOne());
    }
    ASSERT_TRUE(DeleteFileW(InTree(L"file 0")));
    EXPECT_FALSE(HandsOutOne());
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
    EXPECT_TRUE(log.Has(L"Not backing up deleted file " + std::wstring(InTree(L"file 0")) + L"."));
}

TEST_F(AwayFiles, UnderALetterThatHoldsAnotherVolumeCostOneRoundOfQuestions)
{
    Select(Item(L"path=\"E:\\watched\" type=\"1\" includeSub=\"1\" vid=\"12345\""));
    for (int i = 0; i < Many; ++i)
        MakePending((L"E:\\watched\\file " + std::to_wstring(i)).c_str());
    const DiskCalls calls(L"E:\\");
    EXPECT_FALSE(HandsOutOne());
    EXPECT_LE(calls.Sum(), 6);
    calls.Clear();
    EXPECT_FALSE(HandsOutOne());
    EXPECT_EQ(calls.All(), (DiskCalls::Counts{{"GetFileAttributesW", 1}, {"GetVolumeInformationW", 1}}));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), Many);
}

TEST_F(AwayFiles, DoNotKeepBackTheOthersOfARootThatMayNotBeLookedAt)
{
    AddFile(0);
    AddFile(1);
    const DiskCalls calls(RootOf(tree));
    calls.FailAt(RootOf(tree), ERROR_ACCESS_DENIED);
    calls.FailAt(InTree(L"file 0"), ERROR_ACCESS_DENIED);
    for (int call = 0; call < 3; ++call)
        HandsOutOne();
    EXPECT_TRUE(Pending(InTree(L"file 0")));
    EXPECT_FALSE(Pending(InTree(L"file 1")));
}

TEST_F(AwayFiles, OfAShareAreKeptBesideThoseOfAnotherShareOfTheServer)
{
    for (int i = 0; i < Many; ++i)
        MakePending((L"\\\\no such server\\share\\file " + std::to_wstring(i)).c_str());
    for (int i = 0; i < Many; ++i)
        MakePending((L"\\\\no such server\\shared\\file " + std::to_wstring(i)).c_str());
    const DiskCalls calls(L"\\\\no such server\\");
    calls.SetAway(true);
    EXPECT_FALSE(HandsOutOne());
    EXPECT_EQ(calls.Sum(), 2 * 4);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 2 * Many);
}

} // namespace

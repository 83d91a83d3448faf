// A service's thread and the notifier thread at one path.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <functional>
#include <thread>

namespace
{

// Calls something the first time that the seconds are asked for.
class ClockThatCalls : public TestClock
{
public:
    explicit ClockThatCalls(std::function<void()> call) : m_call(std::move(call)) {}
    std::int64_t Seconds() const override
    {
        if (const std::function<void()> call = std::exchange(m_call, nullptr))
            call();
        return TestClock::Seconds();
    }

private:
    mutable std::function<void()> m_call;
};

class ConcurrentChanges : public WatcherFixture
{
protected:
    ConcurrentChanges() { SelectTree(); }
    ~ConcurrentChanges() override { Parts().config.clock = &clock; }
};

TEST_F(ConcurrentChanges, ADeletionThatIsSeenInTheMiddleOfAnAdditionStands)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1, 0, 5); // its delay is over long ago: the clock is asked for it
    const ClockThatCalls calling([&] {
        std::thread([&] {
            DeleteFileW(path);
            Handler().OnFileRemoved(path);
        }).join();
    });
    Parts().config.clock = &calling;
    watcher.AddSingleNotification(path);
    ASSERT_TRUE(Pending(path));
    EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted);
}

// The file's time was read; before what is pending is dropped, another change is reported.
TEST_F(ConcurrentChanges, AChangeThatIsReportedWhileTheFileIsTakenForUnchangedStaysPending)
{
    const CString path = Write(L"a.txt");
    std::uint64_t modified = 0;
    ASSERT_TRUE(GetFileTimes(path, false, nullptr, &modified));
    // Its delay is not over: it needs no backup for now, and the clock is asked for that after its time was read.
    RecordWithTime(path, modified - 1, 0, clock.Seconds() + 1000);
    for (const bool pendingBefore : {false, true}) {
        watcher.ClearNotifications();
        if (pendingBefore) {
            Index().ForgetItem(path);
            Handler().OnFileModified(path);
            RecordWithTime(path, modified - 1, 0, clock.Seconds() + 1000);
        }
        const ClockThatCalls calling([&] {
            std::thread([&] {
                ASSERT_TRUE(Index().ForgetItem(path)); // as new as can be
                Handler().OnFileModified(path);
                RecordWithTime(path, modified - 1, 0, clock.Seconds() + 1000);
            }).join();
        });
        Parts().config.clock = &calling;
        watcher.AddSingleNotification(path);
        Parts().config.clock = &clock;
        EXPECT_TRUE(Pending(path)) << pendingBefore;
    }
}

TEST_F(ConcurrentChanges, NamingAVanishedFileLeavesItsDeletion)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    clock.Advance(10);
    watcher.AddSingleNotification(path);
    ASSERT_TRUE(Pending(path));
    EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted);
}

TEST_F(ConcurrentChanges, NamingAFileThatVanishedAMomentAgoLeavesItsDeletionAlsoWhenHiddenFilesCount)
{
    for (const bool hidden : {false, true}) {
        watcher.EnableBackupHiddenFiles(hidden);
        const CString path = Write(hidden ? L"hidden.txt" : L"plain.txt");
        RecordWithTime(path, 1);
        DeleteFileW(path);
        Handler().OnFileRemoved(path);
        watcher.AddSingleNotification(path);
        Handler().OnFileModified(path);
        ASSERT_TRUE(Pending(path)) << hidden;
        EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted) << hidden;
        clock.Advance(10);
        watcher.AddSingleNotification(path);
        ASSERT_TRUE(Pending(path)) << hidden;
        EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted) << hidden;
    }
}

TEST_F(ConcurrentChanges, ALossWhileACompletionIsNotedIsNotForgotten)
{
    const ClockThatCalls calling([&] { Parts().due.MakeFull(); });
    Parts().config.clock = &calling;
    watcher.NoteFirstTimeRunCompleted();
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

// Another thread may have recorded the path, and reported its deletion, since the index was asked.
TEST_F(ConcurrentChanges, ADeletionStandsWhenARemovalHasNotFoundThePathInTheIndex)
{
    const CString path = InTree(L"a.txt");
    Index();
    auto deletion = std::make_shared<Notification>();
    deletion->kind = NotificationKind::Deleted;
    deletion->timeStamp = clock.FileTime();
    Parts().pending.Put(path, deletion);
    Handler().OnFileRemoved(path);
    EXPECT_TRUE(Pending(path));
}

} // namespace

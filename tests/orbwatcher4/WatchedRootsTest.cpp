// Which roots are watched, and when: reads that fail, losses without end, reloads, drives that go and change letters.
#include "tests/orbwatcher4/PassesFixture.h"
#include "tests/support/ImportedCall.h"

#include <thread>

namespace
{

class WatchedRoots : public Passes
{
};

// Every attempt to watch fails as long as it lives.
class RefusedReads
{
public:
    RefusedReads() { attempts = 0; }
    static inline int attempts = 0;

private:
    static BOOL WINAPI Refuse(HANDLE, void*, DWORD, BOOL, DWORD, DWORD*, OVERLAPPED*, LPOVERLAPPED_COMPLETION_ROUTINE)
    {
        ++attempts;
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    const ImportedCall m_call{nullptr, "ReadDirectoryChangesW", &Refuse};
};

TEST_F(WatchedRoots, ARootThatCannotBeWatchedIsTriedAgainAfterPausesThatGrowToAMinute)
{
    SelectTree();
    const RefusedReads refused;
    Start();
    std::vector<int> seconds;
    for (int second = 1; second <= 200; ++second) {
        const int before = RefusedReads::attempts;
        PassAfter(1);
        if (RefusedReads::attempts != before)
            seconds.push_back(second);
    }
    EXPECT_EQ(seconds, (std::vector<int>{1, 3, 7, 15, 31, 63, 123, 183}));
}

TEST_F(WatchedRoots, AWatchThatEndsSoonAfterEachBeginningIsBegunAgainAfterPausesThatGrow)
{
    SelectTree();
    WatchLoop& loop = Start();
    for (int second = 0; second < 120; ++second) {
        WatcherAccess::EndWatch(loop, L"c:\\");
        PassAfter(1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }
    EXPECT_EQ(rescans.size(), 6u); // after pauses of 1, 2, 4, 8, 16 and 32 seconds
    PassAfter(60);
    ASSERT_TRUE(Watches(L"c:\\"));
    PassAfter(61); // it held for long
    WatcherAccess::EndWatch(loop, L"c:\\");
    PassAfter(1);
    EXPECT_TRUE(Watches(L"c:\\"));
}

TEST_F(WatchedRoots, LossesAgainAndAgainPutARescanOffForFiveMinutesAtMost)
{
    SelectTree();
    Start();
    for (int second = 0; second < 299; second += 4) {
        Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\");
        PassAfter(4);
    }
    EXPECT_EQ(rescans, std::vector<std::string>{"lostChanges"});
}

TEST_F(WatchedRoots, ARootThatAReloadDropsIsNotWatchedAnyMore)
{
    Attach('r', L"here", 0x11112222);
    Select(TreeItem() + DriveRule(L"R:\\docs"));
    WatchLoop& loop = Start();
    ASSERT_TRUE(WatcherAccess::IsWatching(loop, L"r:\\"));
    Parts().selection.requestedRoots.SetWatching(true);
    SelectTree();
    PassAfter(1);
    Parts().selection.requestedRoots.SetWatching(false);
    EXPECT_FALSE(WatcherAccess::IsWatching(loop, L"r:\\"));
    EXPECT_FALSE(Watches(L"r:\\"));
    EXPECT_TRUE(Watches(L"c:\\"));
}

TEST_F(WatchedRoots, ARootOfWhichAReloadExpectsAnotherVolumeIsNotWatchedAnyMore)
{
    Select(DriveRule(L"G:\\docs"));
    WatchLoop& loop = Start();
    ASSERT_TRUE(WatcherAccess::IsWatching(loop, L"g:\\"));
    Parts().selection.requestedRoots.SetWatching(true);
    Select(DriveRule(L"G:\\docs", L"286335522")); // not that of G:
    PassAfter(1);
    Parts().selection.requestedRoots.SetWatching(false);
    EXPECT_FALSE(WatcherAccess::IsWatching(loop, L"g:\\"));
}

TEST_F(WatchedRoots, ARescanOfARootThatTheRulesNameNoMoreIsDropped)
{
    Attach('r', L"here", 0x11112222);
    Select(TreeItem() + DriveRule(L"R:\\docs"));
    Start();
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"r:\\");
    Parts().selection.requestedRoots.SetWatching(true);
    SelectTree();
    for (int pass = 0; pass < 3; ++pass)
        PassAfter(6);
    Parts().selection.requestedRoots.SetWatching(false);
    EXPECT_TRUE(rescans.empty());
    EXPECT_FALSE(Parts().due.Rescans().Find(L"r:\\"));
}

TEST_F(WatchedRoots, ARootWhoseRulesWentToAnotherLetterIsNotWatchedAnyMore)
{
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
    Attach('r', L"here", 0x11112222);
    Select(DriveRule(L"R:\\docs"));
    WatchLoop& loop = Start();
    ASSERT_TRUE(WatcherAccess::IsWatching(loop, L"r:\\"));
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher)[L"r:\\"].serial = static_cast<std::int32_t>(SerialOfDrive('g'));
    }
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveReappeared);
    PassAfter(1);
    EXPECT_FALSE(WatcherAccess::IsWatching(loop, L"r:\\"));
    EXPECT_TRUE(WatcherAccess::IsWatching(loop, L"g:\\"));
}

TEST_F(WatchedRoots, ANewRuleOnADriveThatIsBeingRemovedDoesNotWatchItAgain)
{
    Attach('r', L"here", 0x11112222);
    Select(DriveRule(L"R:\\docs"));
    WatchLoop& loop = Start();
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher)[L"r:\\"].state = Drive::State::BeingRemoved;
    }
    PassAfter(1);
    const CString rules = WriteRules(L"new.xml", DriveRule(L"R:\\more"));
    ASSERT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    PassAfter(1);
    EXPECT_FALSE(WatcherAccess::IsWatching(loop, L"r:\\"));
}

TEST_F(WatchedRoots, TheListenerOfRescansMayCallTheWatcher)
{
    SelectTree();
    Start();
    std::thread caller;
    bool answered = false;
    watcher.SetRescanListener([&](const CString&, const char*) {
        CEvent done(false, true);
        caller = std::thread([&] {
            watcher.GetWatchedRoots();
            done.SetEvent();
        });
        answered = done.Lock(5000);
        if (answered)
            caller.join();
    });
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\");
    PassAfter(6);
    EXPECT_TRUE(answered);
    if (caller.joinable())
        caller.join();
}

TEST_F(WatchedRoots, ARootThatIsUnpluggedAfterALossMakesNothingElseDueAtTheEnd)
{
    const std::wstring volume = Attach('r', L"here", 0x11112222);
    Select(TreeItem() + DriveRule(L"R:\\docs"));
    Start();
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"r:\\");
    ASSERT_TRUE(DetachDrive('r'));
    PassAfter(1);
    End();
    EXPECT_NE(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
    ASSERT_TRUE(AttachDrive('r', volume.c_str()));
    Start();
    PassAfter(6);
    EXPECT_EQ(rescans.size(), 1u);
}

} // namespace

// The supervisor, one pass at a time, with a clock that the test moves.
#include "orbwatcher4/core/environment/FileFindData.h"
#include "tests/orbwatcher4/PassesFixture.h"

namespace
{

TEST_F(Passes, StartWatchesTheDrivesOfTheSelectionAndSaysThatItIsReady)
{
    SelectTree();
    EXPECT_FALSE(watcher.WaitUntilReady(0));
    Start();
    EXPECT_TRUE(watcher.WaitUntilReady(0));
    EXPECT_TRUE(Watches(L"c:\\"));
}

TEST_F(Passes, DeletionsAreProcessedAfterMoreThanFiveQuietSeconds)
{
    SelectTree();
    Start();
    RequestDeletions();
    PassAfter(0); // seen here
    PassAfter(5);
    EXPECT_FALSE(WorkerWasStarted());
    PassAfter(1);
    EXPECT_TRUE(WorkerWasStarted());
}

TEST_F(Passes, RequestsEveryThreeSecondsKeepTheWorkerBackUntilTheyStop)
{
    SelectTree();
    Start();
    for (int i = 0; i < 10; ++i) {
        RequestDeletions();
        PassAfter(3);
        EXPECT_FALSE(WorkerWasStarted()) << i;
    }
    PassAfter(5);
    EXPECT_FALSE(WorkerWasStarted());
    PassAfter(1);
    EXPECT_TRUE(WorkerWasStarted());
}

TEST_F(Passes, ARequestThatArrivesInTheDuePassComesTooLateToPushItBack)
{
    SelectTree();
    Start();
    RequestDeletions();
    PassAfter(0);
    RequestDeletions(); // the time is tested before the event is polled
    PassAfter(6);
    EXPECT_TRUE(WorkerWasStarted());
}

TEST_F(Passes, WhileAWorkerRunsDueProcessingIsPutOffByFiveSecondsAtATime)
{
    SelectTree();
    Start();
    CEvent release(false, true);
    WatcherAccess::DeletionsThread(watcher) = KernelHandle(CreateThread(
        nullptr, 0, [](void* event) -> DWORD { return WaitForSingleObject(event, 20000); },
        static_cast<HANDLE>(release), 0, nullptr));
    const HANDLE running = WatcherAccess::DeletionsThread(watcher).Get();
    RequestDeletions();
    PassAfter(0);
    PassAfter(6);
    EXPECT_EQ(WatcherAccess::DeletionsThread(watcher).Get(), running);
    release.SetEvent();
    WaitForSingleObject(running, 20000);
    PassAfter(5); // put off to now + 5: not yet
    EXPECT_EQ(WatcherAccess::DeletionsThread(watcher).Get(), running);
    PassAfter(1);
    EXPECT_FALSE(IsSignalled(running) && WatcherAccess::DeletionsThread(watcher).Get() == running);
}

// The serial of drive G: at the start of the program. Wine keeps a drive's serial as it found it at its own start,
// whatever volume comes under the letter later.
const std::wstring SerialOfG = std::to_wstring(SerialOfDrive('g'));

TEST_F(Passes, ADriveThatIsUnpluggedLosesItsWatchAndIsWatchedAgainWhenItsVolumeReturns)
{
    const std::wstring volume = FolderOfDrive('g');
    Select(DriveRule(L"G:\\docs", SerialOfG));
    Start();
    EXPECT_TRUE(Watches(L"g:\\"));
    ASSERT_TRUE(DetachDrive('g'));
    PassAfter(1);
    EXPECT_FALSE(Watches(L"g:\\"));
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        EXPECT_EQ(WatcherAccess::DriveListOf(watcher)[L"g:\\"].state, Drive::State::Away);
    }
    ASSERT_TRUE(AttachDrive('g', volume.c_str()));
    PassAfter(1);
    EXPECT_TRUE(Watches(L"g:\\"));
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        EXPECT_EQ(WatcherAccess::DriveListOf(watcher)[L"g:\\"].state, Drive::State::Present);
    }
    // Changes while it was away are looked for.
    EXPECT_EQ(rescans, std::vector<std::string>{"driveReturned"});
}

TEST_F(Passes, ADriveThatTheServiceRemovesWhileTheWatchBeginsIsNotWatched)
{
    Select(DriveRule(L"G:\\docs", SerialOfG));
    Parts().drives.NoteBegin();
    std::thread service([&] { watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveRemoved); });
    for (int i = 0; i < 2000 && Parts().drives.StateOf(L"g:\\") != Drive::State::BeingRemoved; ++i)
        Sleep(10);
    Start();
    PassAfter(1);
    service.join();
    EXPECT_FALSE(Watches(L"g:\\"));
    Parts().drives.NoteEnd();
    Parts().drives.NoteBegin(); // the next watch
    Start();
    EXPECT_TRUE(Watches(L"g:\\"));
    Parts().drives.NoteEnd();
}

TEST_F(Passes, AnotherVolumeUnderTheLetterIsIgnored)
{
    Select(DriveRule(L"G:\\docs", L"286335522"));
    Start();
    EXPECT_FALSE(Watches(L"g:\\"));
    PassAfter(1);
    EXPECT_FALSE(Watches(L"g:\\"));
}

TEST_F(Passes, ADriveWithoutARecordedSerialIsWatchedWhateverVolumeComes)
{
    Attach('r', L"here", 0x11112222);
    Select(DriveRule(L"R:\\docs"));
    Start();
    ASSERT_TRUE(DetachDrive('r'));
    PassAfter(1);
    Attach('r', L"other", 0x33334444);
    PassAfter(1);
    EXPECT_TRUE(Watches(L"r:\\"));
}

TEST_F(Passes, ANewRuleOnAnotherDriveIsWatchedFromTheNextPassOn)
{
    Attach('r', L"here", 0x11112222);
    SelectTree();
    Start();
    std::filesystem::create_directories(L"R:\\docs");
    const CString rules = WriteRules(L"new.xml", DriveRule(L"R:\\docs"));
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    EXPECT_TRUE(Parts().selection.requestedRoots.AreThereAny());
    PassAfter(1);
    EXPECT_FALSE(Parts().selection.requestedRoots.AreThereAny());
    EXPECT_TRUE(Watches(L"r:\\"));
    EXPECT_TRUE(Watches(L"c:\\"));
    // Changes between the addition and the watch are looked for.
    EXPECT_EQ(rescans, std::vector<std::string>{"newDrive"});
}

TEST_F(Passes, ANewRuleWhoseDriveNoPassWatchesAnyMoreMakesAFullEnumerationDue)
{
    Attach('r', L"here", 0x11112222);
    SelectTree();
    Start();
    std::filesystem::create_directories(L"R:\\docs");
    EXPECT_EQ(watcher.AddNewQueueItem(WriteRules(L"new.xml", DriveRule(L"R:\\docs")), false, nullptr, 0), RulesQueued);
    End();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(Passes, ANewRuleOnAWatchedDriveMakesNoEnumerationDueAtTheEnd)
{
    SelectTree();
    Start();
    const CString rules = WriteRules(L"new.xml", DriveRule(L"C:\\docs"));
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    End();
    EXPECT_NE(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(Passes, ADriveMarkedAsRemovedIsNotWatchedAnyMoreAndTheHandshakeIsAnswered)
{
    Attach('r', L"here", 0x11112222);
    Select(DriveRule(L"R:\\docs"));
    Start();
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher)[L"r:\\"].state = Drive::State::BeingRemoved;
        ResetEvent(WatcherAccess::ReleasedEvent(watcher));
    }
    PassAfter(1);
    EXPECT_FALSE(Watches(L"r:\\"));
    EXPECT_TRUE(IsSignalled(WatcherAccess::ReleasedEvent(watcher)));
    PassAfter(1);
    EXPECT_FALSE(Watches(L"r:\\"));
}

TEST_F(Passes, TheEndAnswersAnOpenDriveUpdate)
{
    SelectTree();
    WatchLoop& loop = Start();
    ResetEvent(WatcherAccess::ReleasedEvent(watcher));
    loop.End();
    EXPECT_TRUE(IsSignalled(WatcherAccess::ReleasedEvent(watcher)));
}

TEST_F(Passes, AStopSignalEndsThePasses)
{
    SelectTree();
    WatchLoop& loop = Start();
    Parts().stop.SetEvent();
    EXPECT_FALSE(loop.Pass());
    Parts().stop.ResetEvent();
}

constexpr const wchar_t* TimeRuleMessage = L"Rescanning selections based on time rule";

TEST_F(Passes, ARunThatNeverCompletedIsStartedInTheFirstPassAndAgainEveryThirtyMinutes)
{
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 0);
    GetServiceRunSettings().Save();
    SelectTree();
    Start();
    const CString file = Write(L"a.txt");
    PassAfter(1);
    EXPECT_EQ(log.Count(L"First time Complete = 0"), 1);
    EXPECT_EQ(log.Count(TimeRuleMessage), 1);
    EXPECT_EQ(WatcherAccess::Hidden(watcher), 0);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_TRUE(Pending(file));
    watcher.ClearNotifications();
    PassAfter(30 * 60 - 1); // 29 whole minutes
    EXPECT_EQ(log.Count(TimeRuleMessage), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_FALSE(Pending(file));
    PassAfter(1);
    EXPECT_EQ(log.Count(TimeRuleMessage), 2);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_TRUE(Pending(file));
}

TEST_F(Passes, ACompletedRunIsRepeatedHiddenAfterTwentyFourWholeHoursByDefault)
{
    SelectTree();
    Start();
    PassAfter(24 * 3600 - 1);
    EXPECT_EQ(log.Count(TimeRuleMessage), 0);
    EXPECT_EQ(WatcherAccess::Hidden(watcher), 0);
    PassAfter(1800);
    EXPECT_EQ(log.Count(TimeRuleMessage), 1);
    EXPECT_EQ(WatcherAccess::Hidden(watcher), 1);
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(Passes, AHiddenRunThatStillGoesOnWhenARunIsDueIsShownAndNoOtherOneStarted)
{
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 0);
    GetServiceRunSettings().Save();
    SelectTree();
    Start();
    Parts().enumerator.Hide(1);
    WatcherAccess::SetRunning(watcher, true);
    PassAfter(1);
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 1);
    EXPECT_EQ(log.Count(TimeRuleMessage), 0);
    WatcherAccess::SetRunning(watcher, false);
}

TEST_F(Passes, ARunThatIsNotedForTheFutureDoesNotPutTheNextOneOff)
{
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 2140000000);
    GetServiceRunSettings().Save();
    SelectTree();
    Start();
    PassAfter(1);
    EXPECT_EQ(log.Count(TimeRuleMessage), 1);
}

TEST_F(Passes, AClockThatIsSetBackALittleMakesNoRunDue)
{
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", static_cast<std::int32_t>(clock.Seconds() + 3000));
    GetServiceRunSettings().Save();
    SelectTree();
    Start();
    PassAfter(1);
    EXPECT_EQ(log.Count(TimeRuleMessage), 0);
}

TEST_F(Passes, TheIntervalOfTheUserConfigurationCounts)
{
    GetUserConfigurations().Load();
    GetUserConfigurations().SetValue(L"AppConfig::NetworkScanIntervalInHours", 2);
    GetUserConfigurations().Save();
    SelectTree();
    Start();
    PassAfter(2 * 3600);
    EXPECT_EQ(log.Count(TimeRuleMessage), 1);
}

TEST_F(Passes, LostChangesAreTakenUpOnceForEachRoot)
{
    SelectTree();
    Start();
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\");
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\");
    PassAfter(3);
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\"); // the quiet time begins anew
    PassAfter(5);
    EXPECT_TRUE(rescans.empty());
    PassAfter(1);
    EXPECT_EQ(rescans, std::vector<std::string>{"lostChanges"});
    PassAfter(100);
    EXPECT_EQ(rescans.size(), 1u);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_EQ(log.Count(L"COrbWatcher::FirstRun: begin"), 1);
}

TEST_F(Passes, LostChangesDuringTheEnumerationOfTheirRootAreTakenUpAfterIt)
{
    SelectTree();
    Start();
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\");
    WatcherAccess::RootThread(watcher, L"c:\\").Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr)); // goes on
    PassAfter(10);
    EXPECT_TRUE(rescans.empty());
    SetEvent(WatcherAccess::RootThread(watcher, L"c:\\").Get());
    PassAfter(1);
    EXPECT_EQ(rescans, std::vector<std::string>{"lostChanges"});
}

TEST_F(Passes, AShareIsWatchedOnce)
{
    if (TestShare().empty())
        GTEST_SKIP() << "there is no share \\\\server\\share for tests";
    Select(DriveRule(L"\\\\server\\share\\a") + DriveRule(L"\\\\Server\\Share\\b"));
    Start();
    EXPECT_EQ(watcher.GetWatchedRoots().size(), 1u);
    EXPECT_TRUE(Watches(L"\\\\server\\share"));
}

TEST_F(Passes, ANewRuleOnAWatchedShareLeavesItsWatchAlone)
{
    if (TestShare().empty())
        GTEST_SKIP() << "there is no share \\\\server\\share for tests";
    Select(DriveRule(L"\\\\server\\share\\a"));
    WatchLoop& loop = Start();
    const ULONG_PTR before = WatcherAccess::OnlyWatchKey(loop);
    ASSERT_NE(before, 0u);
    const CString rules = WriteRules(L"new.xml", DriveRule(L"\\\\server\\share\\b"));
    ASSERT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    PassAfter(1);
    EXPECT_EQ(WatcherAccess::OnlyWatchKey(loop), before);
}

TEST_F(Passes, LostChangesThatNoPassTakesUpAnyMoreMakeAFullEnumerationDue)
{
    SelectTree();
    WatchLoop& loop = Start();
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\");
    Parts().stop.SetEvent();
    EXPECT_FALSE(loop.Pass());
    loop.End();
    Parts().stop.ResetEvent();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(Passes, ADeletionIsProcessedThoughAnotherWatcherTakesTheSignal)
{
    SelectTree();
    COrbWatcher other(false);
    WatcherAccess::Parts(other).config.clock = &clock;
    WatchLoop theirs = WatcherAccess::Loop(other);
    theirs.Start();
    Start();
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    EXPECT_TRUE(theirs.Pass());
    PassAfter(1);
    PassAfter(6);
    EXPECT_TRUE(WorkerWasStarted());
    theirs.End();
}

TEST_F(Passes, AClockThatIsSetBackPutsNeitherDeletionsNorWatchingOff)
{
    constexpr std::int64_t Day = 86400;
    SelectTree();
    WatchLoop& loop = Start();
    PassAfter(1);
    RequestDeletions();
    PassAfter(1);
    WatcherAccess::EndWatch(loop, L"c:\\");
    PassAfter(-Day);
    EXPECT_TRUE(Watches(L"c:\\"));
    PassAfter(6);
    EXPECT_TRUE(WorkerWasStarted());
}

TEST_F(Passes, AnotherVolumeUnderTheLetterOfAWatchThatEndedIsIgnored)
{
    Attach('r', L"here", 0x11112222);
    Select(DriveRule(L"R:\\docs"));
    WatchLoop& loop = Start();
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher)[L"r:\\"].serial = 0x7777;
    }
    WatcherAccess::EndWatch(loop, L"r:\\");
    PassAfter(1);
    EXPECT_FALSE(Watches(L"r:\\"));
}

TEST_F(Passes, EveryRemovedDriveIsUnwatchedWhateverTheEventSays)
{
    Attach('r', L"here", 0x11112222);
    Attach('s', L"other", 0x11112223);
    Select(DriveRule(L"R:\\docs") + DriveRule(L"S:\\docs"));
    Start();
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher)[L"r:\\"].state = WatcherAccess::DriveListOf(watcher)[L"s:\\"].state =
            Drive::State::BeingRemoved;
    }
    PassAfter(1);
    EXPECT_TRUE(watcher.GetWatchedRoots().empty());
}

TEST_F(Passes, ADriveThatAReloadBringsIsWatchedFromTheNextPassOn)
{
    Attach('r', L"here", 0x11112222);
    SelectTree();
    Start();
    Parts().selection.requestedRoots.SetWatching(true);
    Select(TreeItem() + DriveRule(L"R:\\docs"));
    PassAfter(1);
    Parts().selection.requestedRoots.SetWatching(false);
    EXPECT_TRUE(Watches(L"r:\\"));
}

TEST_F(Passes, LostChangesOfAShareAreTakenUp)
{
    if (TestShare().empty())
        GTEST_SKIP() << "there is no share \\\\server\\share for tests";
    Select(DriveRule(L"\\\\server\\share\\a"));
    Start();
    ASSERT_EQ(watcher.GetWatchedRoots().size(), 1u);
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, RootOf(watcher.GetWatchedRoots()[0]));
    PassAfter(6);
    EXPECT_EQ(rescans, std::vector<std::string>{"lostChanges"});
}

} // namespace

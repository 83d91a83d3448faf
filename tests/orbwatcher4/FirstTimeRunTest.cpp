// Enumerating what is there already.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <atomic>

namespace
{

// Counts how often a folder is read, as long as it lives.
class CountedSearches
{
public:
    CountedSearches() { s_ofFolders = 0; }
    static inline std::atomic<int> s_ofFolders{0};

private:
    static HANDLE WINAPI Search(const wchar_t* pattern, FINDEX_INFO_LEVELS level, void* data, FINDEX_SEARCH_OPS search,
                                void* filter, DWORD flags)
    {
        s_ofFolders += std::wstring_view(pattern).ends_with(L"*") ? 1 : 0;
        return s_original(pattern, level, data, search, filter, flags);
    }

    static inline const auto s_original = SystemFunction<decltype(FindFirstFileExW)>("FindFirstFileExW");
    const ImportedCall m_call{nullptr, "FindFirstFileExW", &Search};
};

class FirstTimeRun : public WatcherFixture
{
protected:
    FirstTimeRun() { watcher.UpdateThreadsPriority(CPUSpeedFull); }

    void Run(int reload = 0)
    {
        ASSERT_EQ(watcher.StartFirstTimeRun(reload), 1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }
    std::string FileItem(const CString& path) { return Item(L"path=\"" + std::wstring(path) + L"\""); }
};

TEST_F(FirstTimeRun, ReportsEveryFileAndFolderOfTheSelectionOnce)
{
    const CString first = Write(L"a.txt"), second = Write(L"d\\e\\b.txt");
    SelectTree();
    Run();
    EXPECT_TRUE(Pending(first));
    EXPECT_TRUE(Pending(second));
    EXPECT_TRUE(Pending(InTree(L"d\\e\\")));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 5); // the tree itself, two folders, two files
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 0);
    EXPECT_EQ(watcher.IsFirstTimeFinshedsuccessfully(), 1);
    EXPECT_EQ(watcher.IsEnableFirstTime(), 1);
}

TEST_F(FirstTimeRun, OfADriveWithSingleFilesOnlyReportsThoseOnceAndReadsNoFolder)
{
    const CString path = Write(L"a.txt");
    Write(L"b.txt");
    Select(FileItem(path));
    const CountedSearches searches;
    Run();
    EXPECT_TRUE(Pending(path));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
    const EnumerationProgress progress = watcher.GetEnumerationProgress();
    EXPECT_EQ(progress.files, 1u);
    EXPECT_EQ(CountedSearches::s_ofFolders, 0);
}

TEST_F(FirstTimeRun, IsRefusedWhileOneIsGoingOn)
{
    SelectTree();
    WatcherAccess::SetRunning(watcher, true);
    EXPECT_EQ(watcher.StartFirstTimeRun(0), 0);
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 1);
    watcher.SetFirstTimeWatcherHide(1);
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 0);
    WatcherAccess::SetRunning(watcher, false);
}

TEST_F(FirstTimeRun, PassesOverADriveWhoseVolumeIsAnother)
{
    const CString path = Write(L"a.txt");
    Select(TreeItem() + Item(L"path=\"G:\\x\" type=\"1\" includeSub=\"1\" vid=\"12345\""));
    Run();
    EXPECT_TRUE(log.Has(L"Initial scan started, but VolumeID doesn't match drive g:\\. Scan for this drive skipped."));
    EXPECT_TRUE(Pending(path));
}

TEST_F(FirstTimeRun, LeavesWhatIsPendingAloneAndTakesItOutOfTheDeleteMap)
{
    const CString pending = Write(L"a.txt"), other = Write(L"b.txt");
    SelectTree();
    Handler().OnFileAdded(pending);
    const NotificationPtr before = Pending(pending);
    for (const CString& path : {pending, other})
        CIndexDB::m_mapDeletePtr[path] = CIndexDB::CalculateUuid(path);
    Run();
    EXPECT_EQ(Pending(pending), before);
    EXPECT_TRUE(CIndexDB::m_mapDeletePtr.empty());
}

TEST_F(FirstTimeRun, ReportsAFileThatIsThereThoughItsDeletionIsPending)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    SelectTree();
    auto deletion = std::make_shared<Notification>();
    deletion->kind = NotificationKind::Deleted;
    {
        Parts().pending.Put(path, deletion);
    }
    Run();
    ASSERT_TRUE(Pending(path));
    EXPECT_NE(Pending(path)->kind, NotificationKind::Deleted);
}

TEST_F(FirstTimeRun, ReportsWhatTheIndexHoldsAndTheDiskDoesNotAsRemoved)
{
    const CString gone = Write(L"gone.txt"), there = Write(L"there.txt");
    RecordWithTime(gone, 1);
    RecordWithTime(there, 1);
    Index();
    watcher.SetIndexDB(folder.Path(L"index.db"));
    SelectTree();
    ASSERT_TRUE(DeleteFileW(gone));
    Run();
    ASSERT_TRUE(Pending(gone));
    EXPECT_EQ(Pending(gone)->kind, NotificationKind::Deleted);
    ASSERT_TRUE(Pending(there));
    EXPECT_NE(Pending(there)->kind, NotificationKind::Deleted);
    CIndexDB::m_mapDeletePtr.clear();
}

TEST_F(FirstTimeRun, PutsWhatItHasNotMetAloneIntoTheDeleteMapAndTakesItOutAgain)
{
    const CString gone = InTree(L"gone.txt"), there = Write(L"there.txt");
    RecordWithTime(gone, 1);
    Record(there);
    watcher.SetIndexDB(folder.Path(L"index.db"));
    SelectTree();
    UnmetPaths& unmet = Parts().enumerator.Found().Unmet();
    const UnmetPaths::Search first = unmet.Begin(L"c:\\"), other = unmet.Begin(L"c:\\");
    Parts().enumerator.Found().Take(there, std::nullopt);
    EXPECT_TRUE(CIndexDB::m_mapDeletePtr.empty()) << "while the enumerations run";
    unmet.AddUnmet(first);
    unmet.AddUnmet(other);
    ASSERT_EQ(CIndexDB::m_mapDeletePtr.size(), 1u) << "both have met the other one";
    EXPECT_EQ(CIndexDB::m_mapDeletePtr.begin()->first, gone);
    unmet.ReportAll();
    EXPECT_TRUE(CIndexDB::m_mapDeletePtr.empty());
    ASSERT_TRUE(Pending(gone));
    EXPECT_EQ(Pending(gone)->kind, NotificationKind::Deleted);
    EXPECT_FALSE(Pending(there));
}

TEST_F(FirstTimeRun, WhoseCacheIsDroppedMeanwhileMakesAnotherOneDue)
{
    RecordWithTime(InTree(L"gone.txt"), 1);
    watcher.SetIndexDB(folder.Path(L"index.db"));
    SelectTree();
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 12345);
    GetServiceRunSettings().Save();
    UnmetPaths& unmet = Parts().enumerator.Found().Unmet();
    const UnmetPaths::Search search = unmet.Begin(L"c:\\");
    CIndexDB::ClearCache();
    unmet.AddUnmet(search);
    EXPECT_TRUE(log.Has(L"What disappeared from c:\\ cannot be found, the cache of the index is not loaded"));
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(FirstTimeRun, ThatCannotReadTheIndexSaysSoAndMakesAnotherOneDue)
{
    const CString path = Write(L"a.txt");
    folder.WriteBytes(L"index.db", std::string(5000, 'x'));
    watcher.SetIndexDB(folder.Path(L"index.db"));
    SelectTree();
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 12345);
    GetServiceRunSettings().Save();
    Run();
    EXPECT_TRUE(Pending(path));
    const std::vector<LogCapture::Line> lines = log.Lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogCapture::Line& line) {
        return line.text.starts_with(L"What disappeared from ") && line.level == LogLevel::Error;
    }));
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(FirstTimeRun, IsMadeDueAgainWhereAnotherProcessHasNotedOneSinceThen)
{
    ASSERT_TRUE(Parts().due.MakeFull());
    folder.WriteBytes(L"data\\ServiceRunSettings.json", R"({"Backup":{"FirstTimeRunTime":12345}})");
    ASSERT_TRUE(Parts().due.MakeFull());
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(FirstTimeRun, OfADisasterRecoveryWatcherGoesByTheMapOfItsOwn)
{
    const CString gone = InTree(L"gone.txt"), there = Write(L"there.txt");
    RecordWithTime(gone, 1);
    RecordWithTime(there, 1);
    COrbWatcher recovery(true);
    recovery.Init();
    recovery.UpdateThreadsPriority(CPUSpeedFull);
    recovery.SetIndexDB(folder.Path(L"index.db"));
    recovery.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    ASSERT_TRUE(recovery.LoadSelection());
    CIndexDB::m_mapDeletePtr[there] = 1; // another watcher's
    ASSERT_EQ(recovery.StartFirstTimeRun(0), 1);
    WatcherAccess::Parts(recovery).enumerator.EndRuns();
    EXPECT_TRUE(log.Has(L"Removing deleted file from DR backup: " + std::wstring(gone)));
    EXPECT_EQ(CIndexDB::m_mapDeletePtr.size(), 1u);
    EXPECT_TRUE(CIndexDB::m_mapDeleteDRPtr.empty());
    CIndexDB::m_mapDeletePtr.clear();
}

TEST_F(FirstTimeRun, ReportsTheSelectedFolderItselfAsRemoved)
{
    watcher.SetIndexDB(folder.Path(L"index.db"));
    Select(Item(L"path=\"" + std::wstring(InTree(L"d")) + L"\" type=\"1\" includeSub=\"1\""));
    ASSERT_TRUE(Index().RecordItems({{InTree(L"d"), 1, 1, CachedDatum::Folder, 0}, {InTree(L"d\\f.txt"), 0, 1, 0, 0}}));
    Run();
    EXPECT_TRUE(Pending(InTree(L"d\\f.txt")));
    EXPECT_TRUE(Pending(InTree(L"d")));
    CIndexDB::m_mapDeletePtr.clear();
}

TEST_F(FirstTimeRun, ThatIsAbortedReportsNothingAsRemovedAndClosesItsEvent)
{
    watcher.SetIndexDB(folder.Path(L"index.db"));
    SelectTree();
    RecordWithTime(InTree(L"gone.txt"), 1);
    CIndexDB::m_mapDeletePtr[InTree(L"gone.txt")] = 1;
    Parts().stop.SetEvent();
    Run();
    Parts().stop.ResetEvent();
    EXPECT_FALSE(Pending(InTree(L"gone.txt")));
    EXPECT_TRUE(log.Has(L"Close first time event handle"));
    const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_FIRSTTIME_RUNNING");
    EXPECT_FALSE(KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, name)));
    CIndexDB::m_mapDeletePtr.clear();
}

TEST_F(FirstTimeRun, SignalsItsCompletionUnlessItWasAborted)
{
    SelectTree();
    const wchar_t* name = L"orbwatcher4-test-first-time-completed";
    const KernelHandle completed(CreateEventW(nullptr, TRUE, FALSE, name));
    watcher.SetFirstTimeCompletionEvent(name);
    Parts().stop.SetEvent();
    Run();
    Parts().stop.ResetEvent();
    EXPECT_FALSE(IsSignalled(completed.Get()));
    EXPECT_EQ(watcher.IsFirstTimeFinshedsuccessfully(), 1);
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 0);
    Run();
    EXPECT_TRUE(IsSignalled(completed.Get()));
}

TEST_F(FirstTimeRun, ItsCompletionIsNotedUnlessSomethingWasLostMeanwhile)
{
    SelectTree();
    Run();
    watcher.NoteFirstTimeRunCompleted();
    const auto noted = [] { return GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1); };
    EXPECT_EQ(noted(), static_cast<std::int32_t>(clock.Seconds()));
    Run();
    Parts().due.MakeFull();
    watcher.NoteFirstTimeRunCompleted();
    EXPECT_EQ(noted(), 0);
}

TEST_F(FirstTimeRun, TellsOthersThatItRunsUnlessItIsHidden)
{
    SelectTree();
    Run();
    EXPECT_TRUE(log.Has(L"Create first time event successfully"));
    EXPECT_TRUE(log.Has(L"Close first time event handle"));
    const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_FIRSTTIME_RUNNING");
    EXPECT_FALSE(KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, name)));
    log.Clear();
    watcher.SetFirstTimeWatcherHide(1);
    Run();
    EXPECT_FALSE(log.Has(L"Create first time event successfully"));
}

TEST_F(FirstTimeRun, WithAReloadTakesTheSelectionAsItIsNow)
{
    SelectTree();
    const CString path = folder.Path(L"elsewhere\\a.txt");
    folder.WriteBytes(L"elsewhere\\a.txt", "x");
    WriteRules(L"data.xml",
               Item(L"path=\"" + std::wstring(folder.Path(L"elsewhere")) + L"\" type=\"1\" includeSub=\"1\""));
    Run(1);
    EXPECT_TRUE(Pending(path));
}

TEST_F(FirstTimeRun, WithAReloadGivesTheSecondarySelectionTheAdvancedRules)
{
    const CString path = InTree(L"a.old");
    const CString advanced =
        WriteRules(L"advanced.xml", Item(L"path=\"" + std::wstring(tree) +
                                         L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".old\""));
    watcher.SetAdvancedFiltersPath(advanced);
    watcher.SetSecondaryXMLFile(WriteRules(L"second.xml", TreeItem()), nullptr);
    SelectTree();
    EXPECT_EQ(Parts().selection.secondary.CheckForAdvancedInclusion(path), Included);
    EXPECT_EQ(Parts().selection.primary.CheckForAdvancedInclusion(path), Excluded);
    Run(1);
    EXPECT_EQ(Parts().selection.secondary.CheckForAdvancedInclusion(path), Excluded);
}

TEST_F(FirstTimeRun, IsEndedByAnAbort)
{
    watcher.UpdateThreadsPriority(CPUSpeedLow);
    for (int i = 0; i < 50; ++i)
        Write(L"d\\" + std::to_wstring(i));
    SelectTree();
    ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
    watcher.AbortWatching();
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 0);
}

TEST_F(FirstTimeRun, OfOneDriveLooksEverywhereAgainAlsoWhileAnotherRunGoesOn)
{
    SelectTree();
    CString seen = tree; // by the other run, before the change
    FilterAccess::MemoryOf(Parts().selection.primary).AddScanned(seen);
    WatcherAccess::SetRunning(watcher, true);
    const CString late = Write(L"late.txt");
    ASSERT_TRUE(WatcherAccess::Parts(watcher).enumerator.StartOn(L"c:\\"));
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    WatcherAccess::SetRunning(watcher, false);
    EXPECT_TRUE(Pending(late));
}

TEST_F(FirstTimeRun, ReportsASingleFileOfTheSelectionThatIsGoneAsRemoved)
{
    watcher.SetIndexDB(folder.Path(L"index.db"));
    for (const bool hidden : {false, true}) {
        const CString path = InTree(hidden ? L"first.txt" : L"second.txt");
        watcher.EnableBackupHiddenFiles(hidden);
        RecordWithTime(path, 1);
        Select(FileItem(path));
        Run();
        ASSERT_TRUE(Pending(path)) << hidden;
        EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted) << hidden;
    }
    CIndexDB::m_mapDeletePtr.clear();
}

TEST_F(FirstTimeRun, OnACallersThreadGivesItsTokenBack)
{
    RevertToSelf(); // other tests are the notifier thread, which keeps what it has taken
    HANDLE token = nullptr;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY | TOKEN_DUPLICATE, &token));
    const KernelHandle user(token);
    watcher.SetUserToken(user.Get());
    Select(FileItem(Write(L"a.txt")));
    EXPECT_TRUE(watcher.FirstRun(L"c:\\"));
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token));
}

class DriveUpdates : public WatcherFixture
{
};

TEST_F(DriveUpdates, WatchedDrivesAreTheLettersOfTheSelection)
{
    Select(TreeItem() + Item(L"path=\"\\\\server\\share\\a\" type=\"1\"") + Item(L"path=\"e:\\x\" type=\"1\""));
    CString letters;
    EXPECT_TRUE(watcher.GetWatchedDrives(letters));
    EXPECT_EQ(letters, L"CE");
}

TEST_F(DriveUpdates, AVolumeThatCameUnderAnotherLetterTakesItsRulesAlong)
{
    if (const std::string why = WhyNoSerial('e'); !why.empty())
        GTEST_SKIP() << why;
    // Drive E: was Q: when its rules were made.
    const auto serial = static_cast<std::int32_t>(SerialOfDrive('e'));
    Select(Item(L"path=\"q:\\data\" type=\"1\" includeSub=\"1\""));
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher) = {{L"q:\\", {serial, Drive::State::BeingRemoved}}};
    }
    watcher.UpdateDrive(L"E:\\", WatcherEnum::NoAction);
    EXPECT_TRUE(Parts().selection.primary.RulesOf(L"e:\\").empty());
    watcher.UpdateDrive(L"E:\\", WatcherEnum::DriveReappeared);
    ASSERT_EQ(Parts().selection.primary.RulesOf(L"e:\\").size(), 1u);
    EXPECT_STREQ(Parts().selection.primary.RulesOf(L"e:\\")[0]->path, L"e:\\data\\");
    const CSingleLock lock(WatcherAccess::DriveLock(watcher));
    ASSERT_EQ(WatcherAccess::DriveListOf(watcher).size(), 1u);
    EXPECT_EQ(WatcherAccess::DriveListOf(watcher)[L"e:\\"].serial, serial);
    EXPECT_NE(WatcherAccess::DriveListOf(watcher)[L"e:\\"].state, Drive::State::BeingRemoved);
}

TEST_F(DriveUpdates, ARemovedDriveIsNoLongerWatchedWhenTheCallReturns)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", Item(L"path=\"e:\\x\" type=\"1\" includeSub=\"1\"")));
    watcher.StartWatch();
    ASSERT_TRUE(watcher.WaitUntilReady(20000));
    ASSERT_EQ(watcher.GetWatchedRoots(), std::vector<CString>{L"e:\\"});
    watcher.UpdateDrive(L"E:\\", WatcherEnum::DriveRemoved);
    EXPECT_TRUE(watcher.GetWatchedRoots().empty());
}

TEST_F(DriveUpdates, RemovingADriveWithoutAWatchThreadReturnsAtOnce)
{
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher) = {{L"e:\\", {0, Drive::State::Present}}};
    }
    watcher.UpdateDrive(L"e:\\", WatcherEnum::DriveRemoved);
    const CSingleLock lock(WatcherAccess::DriveLock(watcher));
    EXPECT_EQ(WatcherAccess::DriveListOf(watcher)[L"e:\\"].state, Drive::State::BeingRemoved);
}

} // namespace

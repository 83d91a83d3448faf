// A drive that goes, or a stop, in the middle of an enumeration or of the processing of deletions.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <thread>

namespace
{

class InterruptedRuns : public WatcherFixture
{
protected:
    InterruptedRuns()
    {
        watcher.UpdateThreadsPriority(CPUSpeedFull);
        watcher.SetIndexDB(folder.Path(L"index.db"));
    }
    ~InterruptedRuns() override
    {
        CIndexDB::m_mapDeletePtr.clear();
        if (m_driveIsAway)
            AttachDrive('g', m_volume.c_str());
        std::filesystem::remove_all(L"G:\\interrupted");
    }

    // Files of a folder on drive G:, which the index holds in an older state; their paths.
    std::vector<CString> IndexedOnDrive(int count)
    {
        std::vector<CString> paths;
        std::filesystem::create_directories(L"G:\\interrupted");
        for (int i = 0; i < count; ++i) {
            paths.push_back(L"G:\\interrupted\\" + CString(std::to_wstring(i).c_str()));
            FileHandle(CreateFileW(paths.back(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
            RecordWithTime(paths.back(), 1);
        }
        return paths;
    }
    void Unplug()
    {
        m_driveIsAway = true;
        ASSERT_TRUE(DetachDrive('g'));
    }

    // Enumerates everything; `then` happens when the first file has been met and before the next one is looked at.
    template <typename Action>
    void RunUntilTheFirstFile(Action then)
    {
        CEvent walking(false, true);
        const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine& line) {
            if (std::wstring_view(line.text) == L"COrbWatcher::FirstRun: begin")
                walking.SetEvent();
        });
        {
            // The walk waits at the first file that it reports. Its start asks the filters, which come before the store
            // in the lock order, so another thread holds the store.
            CEvent held(false, true), release(false, true);
            std::jthread holder([&] {
                const PendingStore::Locked store(Parts().pending);
                held.SetEvent();
                release.Lock(20000);
            });
            EXPECT_TRUE(held.Lock(20000));
            EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
            EXPECT_TRUE(walking.Lock(20000));
            then();
            release.SetEvent();
        }
        g_OrbLog.RemoveSink(sink);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }
    bool IsEnumerationDue()
    {
        GetServiceRunSettings().Load();
        return GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1) == 0;
    }

private:
    const std::wstring m_volume = FolderOfDrive('g');
    bool m_driveIsAway = false;
};

TEST_F(InterruptedRuns, ADriveThatIsUnpluggedInTheMiddleOfAWalkLosesNothing)
{
    const std::vector<CString> paths = IndexedOnDrive(50);
    Select(Item(L"path=\"G:\\interrupted\" type=\"1\" includeSub=\"1\""));
    RunUntilTheFirstFile([&] { Unplug(); });
    EXPECT_FALSE(CIndexDB::m_mapDeletePtr.empty());
    for (const CString& path : paths)
        if (const NotificationPtr pending = Pending(path)) {
            EXPECT_NE(pending->kind, NotificationKind::Deleted) << Narrow(path.View());
        }
    const std::int64_t waiting = watcher.GetTotalFilesInMem();
    EXPECT_TRUE(Drain().empty());
    EXPECT_EQ(watcher.GetTotalFilesInMem(), waiting);
}

TEST_F(InterruptedRuns, AStopEndsAWalkAtTheNextEntryAndMakesAnotherOneDue)
{
    for (int i = 0; i < 200; ++i)
        Write(std::to_wstring(i));
    SelectTree();
    RunUntilTheFirstFile([&] { Parts().stop.SetEvent(); });
    Parts().stop.ResetEvent();
    EXPECT_LE(watcher.GetTotalFilesInMem(), 1);
    EXPECT_TRUE(IsEnumerationDue());
}

TEST_F(InterruptedRuns, AStopInTheMiddleOfAProcessingKeepsEveryDeletion)
{
    std::filesystem::create_directories(tree.GetString());
    std::vector<ItemDatum> items;
    for (int i = 0; i < 3000; ++i)
        items.push_back({InTree(L"d\\" + std::to_wstring(i)), 0, 1, 0, 0});
    ASSERT_TRUE(Index().RecordItems(items));
    SelectTree();
    Handler().OnFileRemoved(InTree(L"d"));
    int skipped = 0;
    // The log is asked for each item: in the middle of them comes the stop.
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine& line) {
        if (std::wstring_view(line.text) == L"New deleted item" && ++skipped == 1000)
            Parts().stop.SetEvent();
    });
    watcher.ImmediateProcessDeletedFiles();
    g_OrbLog.RemoveSink(sink);
    Parts().stop.ResetEvent();
    EXPECT_EQ(skipped, 1000);
    ASSERT_TRUE(Pending(InTree(L"d")));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(Index().GetDeletes(1).size(), 3000u);
}

TEST_F(InterruptedRuns, AFolderThatIsMadeAgainDuringTheProcessingIsNewWithAllThatIsInIt)
{
    Write(L"d\\back.txt");
    Write(L"d\\deep\\back.txt");
    for (const wchar_t* name : {L"d", L"d\\deep", L"d\\back.txt", L"d\\deep\\back.txt"})
        Record(InTree(name));
    RecordWithTime(InTree(L"d\\gone.txt"), 1);
    SelectTree();
    const CString aside = folder.Path(L"aside");
    ASSERT_TRUE(MoveFileW(InTree(L"d"), aside));
    Handler().OnFileRemoved(InTree(L"d"));
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine& line) {
        if (std::wstring_view(line.text) == L"Filtering Deleted items") {
            EXPECT_TRUE(MoveFileW(aside, InTree(L"d")));
        }
    });
    watcher.ImmediateProcessDeletedFiles();
    g_OrbLog.RemoveSink(sink);
    Handler().OnFileAdded(InTree(L"d"));
    // Whatever of it has a delete record by now waits to be backed up again; the rest is as the index holds it.
    std::set<std::uint64_t> deleted;
    for (const DeleteDatum& record : Index().GetDeletes(1))
        deleted.insert(record.id);
    EXPECT_TRUE(deleted.contains(CIndexDB::CalculateUuid(InTree(L"d\\gone.txt"))));
    for (const wchar_t* name : {L"d\\", L"d\\deep\\", L"d\\back.txt", L"d\\deep\\back.txt"})
        EXPECT_EQ(static_cast<bool>(Pending(InTree(name))), deleted.contains(CIndexDB::CalculateUuid(InTree(name))))
            << Narrow(std::wstring_view(name));
}

TEST_F(InterruptedRuns, AStopWhileOneDrivesDeletionsAreReportedMakesAFullEnumerationDue)
{
    for (const wchar_t* name : {L"a.txt", L"b.txt"})
        RecordWithTime(InTree(name), 1);
    SelectTree();
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine& line) {
        if (std::wstring_view(line.text).starts_with(L"Removing deleted file from data backup"))
            Parts().stop.SetEvent();
    });
    ASSERT_TRUE(WatcherAccess::Parts(watcher).enumerator.StartOn(L"c:\\"));
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    g_OrbLog.RemoveSink(sink);
    Parts().stop.ResetEvent();
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 2); // the tree and one deletion
    EXPECT_TRUE(IsEnumerationDue());
}

} // namespace

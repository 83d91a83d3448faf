// From pending deletions to delete records and their export. DeletedFoldersTest.cpp has those of folders.
#include "tests/orbwatcher4/DeletionsFixture.h"

#include <stdexcept>
#include <thread>

namespace
{

class Deletions : public DeletionsFixture
{
};

TEST_F(Deletions, OfAFileBecomeARecordOfANewJobAndAreExported)
{
    const CString path = DeleteIndexed(L"a.txt");
    EXPECT_EQ(watcher.ImmediateProcessDeletedFiles(), 0);
    EXPECT_FALSE(Pending(path));
    const SettingsDatum job = LastJob();
    EXPECT_EQ(job.jobId, 1);
    EXPECT_EQ(job.startTime, clock.Seconds());
    EXPECT_EQ(job.endTime, clock.Seconds());
    EXPECT_EQ(job.itemCount, 1);
    EXPECT_TRUE(job.flags & SettingsDatum::Completed);
    const std::vector<DeleteDatum> records = Index().GetDeletes(1);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].id, Id(path));
    EXPECT_EQ(records[0].deletionTime, clock.FileTime());
    EXPECT_TRUE(Exported(L"Index.tdb.0"));
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0].path, path);
    EXPECT_EQ(told[0].id, Id(path));
    EXPECT_EQ(told[0].job, 1);
}

TEST_F(Deletions, OfWhatIsThereAgainStayPending)
{
    const CString path = DeleteIndexed(L"a.txt");
    Write(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    ASSERT_TRUE(Pending(path));
    EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted);
    EXPECT_TRUE(told.empty());
}

TEST_F(Deletions, OnADriveThatIsAwayStayPending)
{
    RecordWithTime(L"Y:\\away\\a.txt", 1);
    MarkDeleted(L"Y:\\away\\a.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Pending(L"Y:\\away\\a.txt"));
    EXPECT_TRUE(told.empty());
}

TEST_F(Deletions, OfItemsMarkedWith0x40LeaveNoRecordNoJobAndNoExport)
{
    const CString path = DeleteIndexed(L"a.txt", CachedDatum::NoDeleteRecord);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_FALSE(Pending(path));
    EXPECT_EQ(LastJob().jobId, 0);
    EXPECT_FALSE(Exported(L"Index.tdb.0"));
    EXPECT_TRUE(log.Has(L"Skip : " + std::wstring(path)));
}

TEST_F(Deletions, OfWhatTheIndexDoesNotKnowAreSkipped)
{
    MarkDeleted(InTree(L"never.txt"));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_FALSE(Pending(InTree(L"never.txt")));
    EXPECT_TRUE(log.Has(L"Skip : " + std::wstring(InTree(L"never.txt"))));
    EXPECT_EQ(LastJob().jobId, 0);
}

TEST_F(Deletions, DuringABackupJoinItsJobAndAreExportedAllTheSame)
{
    SettingsDatum running;
    running.jobId = 7;
    running.startTime = 5;
    ASSERT_TRUE(Index().Insert(running));
    const CString path = DeleteIndexed(L"a.txt");
    {
        const KernelHandle backup(
            CreateMutexW(nullptr, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START")));
        ASSERT_EQ(COrbWatcher::IsBackupRunning(), 1);
        watcher.ImmediateProcessDeletedFiles();
    }
    EXPECT_EQ(LastJob().jobId, 7);
    EXPECT_EQ(LastJob().endTime, 0);
    EXPECT_EQ(RecordedIds(7), std::set<std::uint64_t>{Id(path)});
    EXPECT_TRUE(Exported(L"Index.tdb.0"));
}

TEST_F(Deletions, JoinABackupThatHasBegunWhileTheyWereCollected)
{
    const CString path = DeleteIndexed(L"a.txt");
    const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START");
    KernelHandle backup;
    const auto beginBackup = [&] {
        SettingsDatum running;
        running.jobId = 7;
        EXPECT_TRUE(Index().Insert(running));
        backup.Reset(CreateMutexW(nullptr, FALSE, name));
    };
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine& line) {
        if (std::wstring_view(line.text) == L"Filtering Deleted items")
            std::thread(beginBackup).join();
    });
    watcher.ImmediateProcessDeletedFiles();
    g_OrbLog.RemoveSink(sink);
    EXPECT_EQ(LastJob().jobId, 7);
    EXPECT_EQ(RecordedIds(7), std::set<std::uint64_t>{Id(path)});
}

TEST_F(Deletions, AreExportedUnderTheSmallestFreeNumber)
{
    for (const wchar_t* name : {L"destination\\deeper\\Index.tdb.0", L"destination\\deeper\\Index.tdb.2"})
        folder.WriteBytes(name, "kept");
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    DeleteIndexed(L"b.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Exported(L"Index.tdb.1"));
    EXPECT_TRUE(Exported(L"Index.tdb.3"));
    EXPECT_EQ(folder.ReadBytes(L"destination\\deeper\\Index.tdb.0"), "kept");
}

TEST_F(Deletions, AreExportedThoughAPlainFileHasTakenThePlaceOfTheDestination)
{
    watcher.SetDestBackupFolderDB(folder.Path(L"destination"));
    folder.WriteBytes(L"destination", "no folder");
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_NE(GetFileAttributesW(folder.Path(L"destination\\Index.tdb.0")), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Deletions, AreExportedWhateverTheListenerDoes)
{
    watcher.SetDeletionListener([](const DeletionRecord&) { throw std::runtime_error("the listener failed"); });
    const CString path = DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Exported(L"Index.tdb.0"));
    EXPECT_FALSE(Pending(path));
}

TEST_F(Deletions, OnlineAreExportedWhereTheHandlerSays)
{
    GetMainSettings().SetValue(L"Main::Online", 1);
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    GetMainSettings().SetValue(L"Main::Online", 0);
    EXPECT_FALSE(Exported(L"Index.tdb.0"));
    EXPECT_NE(GetFileAttributesW(folder.Path(L"data\\outbox\\Transaction1.tdb")), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Deletions, WaitWhileTheIndexIsLockedAndAreWrittenLater)
{
    const CString path = DeleteIndexed(L"a.txt");
    ASSERT_TRUE(Index().BeginBatch());
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Pending(path));
    EXPECT_TRUE(told.empty());
    ASSERT_TRUE(Index().CommitBatch());
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_FALSE(Pending(path));
    EXPECT_EQ(told.size(), 1u);
}

TEST_F(Deletions, FindTheItemInWhateverCaseOfWhateverAlphabetTheyName)
{
    const CString item = InTree(L"\x00C4.txt");
    RecordWithTime(item, 1);
    MarkDeleted(InTree(L"\x00E4.TXT"));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(item)});
}

TEST_F(Deletions, AFileThatReturnsUnchangedAfterItsRecordIsNew)
{
    const CString path = Write(L"a.txt");
    Record(path);
    const CString aside = folder.Path(L"aside.txt");
    ASSERT_TRUE(MoveFileW(path, aside));
    MarkDeleted(path);
    watcher.ImmediateProcessDeletedFiles();
    ASSERT_EQ(told.size(), 1u);
    ASSERT_TRUE(MoveFileW(aside, path));
    Handler().OnFileAdded(path);
    EXPECT_EQ(Drain(), std::vector<std::wstring>{std::wstring(path)});
}

TEST_F(Deletions, AFileThatReturnsWhileItsRecordIsWrittenIsNew)
{
    const CString path = Write(L"a.txt");
    Record(path);
    const CString aside = folder.Path(L"aside.txt");
    ASSERT_TRUE(MoveFileW(path, aside));
    MarkDeleted(path);
    watcher.SetDeletionListener([&](const DeletionRecord&) { EXPECT_TRUE(MoveFileW(aside, path)); });
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(Drain(), std::vector<std::wstring>{std::wstring(path)});
}

TEST_F(Deletions, OnAnotherVolumeUnderTheSameLetterWait)
{
    Select(Item(L"path=\"E:\\watched\" type=\"1\" includeSub=\"1\" vid=\"12345\""));
    const CString path = L"E:\\watched\\a.txt";
    RecordWithTime(path, 1);
    MarkDeleted(path);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Pending(path));
    EXPECT_TRUE(told.empty());
}

TEST_F(Deletions, WaitWithoutAnIndex)
{
    const CString path = DeleteIndexed(L"a.txt");
    watcher.SetIndexDB(folder.Path(L"no such folder\\index.db"));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Pending(path));
}

TEST_F(Deletions, WaitWhenTheWatcherStops)
{
    const CString path = DeleteIndexed(L"a.txt");
    Parts().stop.SetEvent();
    watcher.ImmediateProcessDeletedFiles();
    Parts().stop.ResetEvent();
    EXPECT_TRUE(Pending(path));
    EXPECT_TRUE(log.Has(L"Used Aborted, stop Filling Que"));
}

TEST_F(Deletions, ThatCannotBeExportedAreWrittenAndTheFailureIsLogged)
{
    folder.WriteBytes(L"destination", "a file of the user");
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(told.size(), 1u);
    EXPECT_EQ(folder.ReadBytes(L"destination"), "a file of the user");
    const std::vector<LogCapture::Line> lines = log.Lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogCapture::Line& line) {
        return line.text.starts_with(L"The deletions could not be exported to ");
    }));
}

TEST_F(Deletions, AreProcessedOnceInAHandOut)
{
    DeleteIndexed(L"a.txt");
    DeleteIndexed(L"b.txt");
    const CString file = Write(L"c.txt");
    Handler().OnFileAdded(file);
    QueueDatum datum;
    ASSERT_TRUE(watcher.GetSingleNotification(nullptr, datum) || watcher.GetSingleNotification(nullptr, datum));
    EXPECT_STREQ(datum.path, file);
    EXPECT_FALSE(watcher.GetSingleNotification(nullptr, datum));
    EXPECT_EQ(told.size(), 2u);
    EXPECT_EQ(LastJob().jobId, 1);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

class DeleteMaps : public Deletions
{
protected:
    DeleteMaps() { CIndexDB::m_mapDeletePtr.clear(); }
    ~DeleteMaps() override { CIndexDB::m_mapDeletePtr.clear(); }
    void Add(const CString& path) { CIndexDB::m_mapDeletePtr[path] = Id(path); }
};

TEST_F(DeleteMaps, ReportWhatIsSelectedAndGone)
{
    const CString gone = InTree(L"gone.txt"), there = Write(L"there.txt"), outside = folder.Path(L"outside.txt");
    for (const CString& path : {gone, there, outside, CString(L"Y:\\away\\a.txt")}) {
        RecordWithTime(path, 1);
        Add(path);
    }
    Parts().selection.primary.AddSingleFilter(std::make_shared<Filter>(), true);
    watcher.TrimDeleteMap();
    EXPECT_TRUE(Pending(gone));
    EXPECT_FALSE(Pending(there));
    EXPECT_FALSE(Pending(L"Y:\\away\\a.txt"));
    EXPECT_TRUE(log.Has(L"Removing deleted file from data backup: " + std::wstring(gone)));
}

TEST_F(DeleteMaps, AStopLeavesTheRest)
{
    RecordWithTime(InTree(L"gone.txt"), 1);
    Add(InTree(L"gone.txt"));
    Parts().stop.SetEvent();
    watcher.TrimDeleteMap();
    Parts().stop.ResetEvent();
    EXPECT_FALSE(Pending(InTree(L"gone.txt")));
}

TEST_F(DeleteMaps, LoseWhatIsTakenOut)
{
    Add(InTree(L"a.txt"));
    Add(InTree(L"b.txt"));
    watcher.RemoveFromDeleteMap(InTree(L"a.txt"));
    watcher.RemoveFromDeleteMap(InTree(L"c.txt"));
    EXPECT_EQ(CIndexDB::m_mapDeletePtr.size(), 1u);
}

} // namespace

// From pending deletions to delete records and their export.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <stdexcept>
#include <thread>

namespace
{

class Deletions : public WatcherFixture
{
protected:
    Deletions()
    {
        SelectTree();
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.SetDestBackupFolderDB(folder.Path(L"destination\\deeper"));
        watcher.SetDeletionListener([this](const DeletionRecord& record) { told.push_back(record); });
    }

    // A file that the index holds, gone from the disk, with its deletion pending.
    CString DeleteIndexed(const std::wstring& name, std::uint32_t flags = 0)
    {
        const CString path = Write(name);
        RecordWithTime(path, 1, flags);
        EXPECT_TRUE(DeleteFileW(path));
        MarkDeleted(path);
        return path;
    }
    void MarkDeleted(const CString& path)
    {
        auto notification = std::make_shared<Notification>();
        notification->kind = NotificationKind::Deleted;
        notification->timeStamp = clock.FileTime();
        Parts().pending.Put(path, notification);
    }
    SettingsDatum LastJob()
    {
        SettingsDatum job;
        EXPECT_TRUE(Index().GetLastJobData(job));
        return job;
    }
    std::set<std::uint64_t> RecordedIds(std::int32_t job)
    {
        std::set<std::uint64_t> ids;
        for (const DeleteDatum& record : Index().GetDeletes(job))
            ids.insert(record.id);
        return ids;
    }
    bool Exported(const wchar_t* name)
    {
        return GetFileAttributesW(folder.Path(L"destination\\deeper") + L"\\" + name) != INVALID_FILE_ATTRIBUTES;
    }
    static std::uint64_t Id(const CString& path) { return CIndexDB::CalculateUuid(path); }

    std::vector<DeletionRecord> told;
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

TEST_F(Deletions, OfAFolderCoverEverythingThatTheIndexHoldsBelowIt)
{
    const CString directory = MakeFolder(L"d"), file = Write(L"d\\f.txt"), deep = Write(L"d\\e\\g.txt");
    for (const CString& path : {directory, file, InTree(L"d\\e"), deep})
        RecordWithTime(path, 1, GetFileAttributesW(path) & FILE_ATTRIBUTE_DIRECTORY ? CachedDatum::Folder : 0);
    const CString other = Write(L"dd.txt");
    RecordWithTime(other, 1);
    std::filesystem::remove_all(directory.GetString());
    MarkDeleted(directory);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), (std::set<std::uint64_t>{Id(directory), Id(file), Id(InTree(L"d\\e")), Id(deep)}));
    EXPECT_EQ(LastJob().itemCount, 4);
    EXPECT_TRUE(log.Has(L"Getting children for folder " + std::wstring(directory)));
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

TEST_F(Deletions, OfAFolderGoOnWaitingBesideAFileThatTookItsNameMeanwhile)
{
    const CString path = InTree(L"d");
    RecordWithTime(path + L"\\in.txt", 1);
    MarkDeleted(path);
    ASSERT_TRUE(Index().BeginBatch());
    SelectTree();
    const auto takeItsName = [&] { Handler().OnFileAdded(Write(L"d")); };
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine& line) {
        if (std::wstring_view(line.text) == L"Filtering Deleted items")
            std::thread(takeItsName).join();
    });
    watcher.ImmediateProcessDeletedFiles();
    g_OrbLog.RemoveSink(sink);
    ASSERT_TRUE(Index().CommitBatch());
    ASSERT_TRUE(Pending(path));
    EXPECT_NE(Pending(path)->kind, NotificationKind::Deleted);
    EXPECT_TRUE(PendingBelow(path));
}

TEST_F(Deletions, OfAFolderWaitWhenItsChildrenCannotBeRead)
{
    const CString directory = InTree(L"d");
    std::vector<ItemDatum> items{{directory, 1, 1, CachedDatum::Folder, 0}};
    for (int i = 0; i < 3000; ++i)
        items.push_back({directory + L"\\some long file name " + std::to_wstring(i).c_str(), 0, 1, 0, 0});
    ASSERT_TRUE(Index().RecordItems(items));
    Index().Close(); // the cache stays
    std::string bytes = folder.ReadBytes(L"index.db");
    ASSERT_GT(bytes.size(), 70u * 4096);
    bytes.replace(60 * 4096, 10 * 4096, 10 * 4096, '\x7f');
    folder.WriteBytes(L"index.db", bytes);
    MarkDeleted(directory);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Pending(directory));
    EXPECT_TRUE(told.empty());
}

TEST_F(Deletions, OfAFolderThatTheIndexDoesNotHoldCoverWhatItHoldsBelowIt)
{
    const CString file = InTree(L"d\\f.txt"), deep = InTree(L"d\\e\\g.txt");
    RecordWithTime(file, 1);
    RecordWithTime(deep, 1);
    MarkDeleted(InTree(L"D"));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), (std::set<std::uint64_t>{Id(file), Id(deep)}));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Deletions, FindTheItemInWhateverCaseOfWhateverAlphabetTheyName)
{
    const CString item = InTree(L"\x00C4.txt");
    RecordWithTime(item, 1);
    MarkDeleted(InTree(L"\x00E4.TXT"));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(item)});
}

TEST_F(Deletions, OfAFolderThatIsThereAgainCoverWhatDidNotReturn)
{
    MakeFolder(L"d");
    const CString back = Write(L"d\\back.txt"), gone = InTree(L"d\\gone.txt");
    Record(back);
    RecordWithTime(gone, 1);
    RecordWithTime(InTree(L"d"), 1);
    MarkDeleted(InTree(L"d"));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(gone)});
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Deletions, OfAFolderWhosePlaceAFileHasTakenCoverWhatWasInIt)
{
    const CString gone = InTree(L"d\\gone.txt");
    RecordWithTime(gone, 1);
    SelectTree();
    Handler().OnFileRemoved(InTree(L"d"));
    const CString file = Write(L"d");
    Record(file);
    Handler().OnFileAdded(file);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(gone)});
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

// The share of a folder answers no more, once the processing has begun to read the folder's children.
class ShareThatFails
{
    static DWORD WINAPI Answer(const wchar_t* path)
    {
        if (!s_fails || CString(path).MakeLower().Find(s_folder.GetString()) < 0)
            return s_original(path);
        SetLastError(ERROR_NETNAME_DELETED);
        return INVALID_FILE_ATTRIBUTES;
    }

public:
    explicit ShareThatFails(const CString& folder)
        : m_token(g_OrbLog.AddSink([](const LogLine& line) {
              s_fails = s_fails || std::wstring_view(line.text).starts_with(L"Getting children for folder");
          }))
    {
        s_folder = CString(folder).MakeLower();
    }
    ~ShareThatFails()
    {
        g_OrbLog.RemoveSink(m_token);
        s_fails = false;
    }

private:
    static inline CString s_folder;
    static inline bool s_fails = false;
    static inline const auto s_original = SystemFunction<decltype(GetFileAttributesW)>("GetFileAttributesW");
    const std::uint64_t m_token;
    const ImportedCall m_call{nullptr, "GetFileAttributesW", &Answer};
};

TEST_F(Deletions, OfAFolderThatIsBackAreNotWrittenForWhatCannotBeAskedFor)
{
    MakeFolder(L"d");
    const CString there = Write(L"d\\there.txt"), gone = InTree(L"d\\gone.txt");
    Record(there);
    RecordWithTime(gone, 1);
    RecordWithTime(InTree(L"d"), 1);
    MarkDeleted(InTree(L"d"));
    {
        const ShareThatFails fails(InTree(L"d"));
        watcher.ImmediateProcessDeletedFiles();
    }
    EXPECT_FALSE(RecordedIds(1).contains(Id(there)));
    EXPECT_FALSE(RecordedIds(1).contains(Id(InTree(L"d"))));
}

TEST_F(Deletions, OfAFolderThatWasBackWhenItsRemovalWasSeenLeaveNothingPendingBesideAFileInItsPlace)
{
    const CString path = MakeFolder(L"d"), gone = InTree(L"d\\gone.txt");
    RecordWithTime(path, 1);
    RecordWithTime(gone, 1);
    Handler().OnFileRemoved(path); // the folder is back, and is deleted once more
    std::filesystem::remove_all(path.GetString());
    Write(L"d");
    Handler().OnFileAdded(path);
    Handler().OnFileRemoved(path);
    Handler().OnFileAdded(path);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(gone)});
    Drain();
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Deletions, OfAFolderAndOfWhatWasInItAreWrittenOnceEach)
{
    MakeFolder(L"d");
    const CString file = InTree(L"d\\f.txt");
    RecordWithTime(InTree(L"d"), 1);
    RecordWithTime(file, 1);
    std::filesystem::remove_all(InTree(L"d").GetString());
    MarkDeleted(InTree(L"d"));
    MarkDeleted(file);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(LastJob().itemCount, 2);
    EXPECT_EQ(told.size(), 2u);
    MarkDeleted(file);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(told.size(), 2u);
    EXPECT_EQ(LastJob().jobId, 1);
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

// Named events and mutexes are open to every process of the machine: the tests bound what their signals can cause.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/PassesFixture.h"

namespace
{

class Signals : public Passes
{
protected:
    Signals()
    {
        SelectTree();
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.SetDestBackupFolderDB(folder.Path(L"destination"));
    }
    void DeleteIndexed(const std::wstring& name)
    {
        RecordWithTime(InTree(name), 1);
        auto notification = std::make_shared<Notification>();
        notification->kind = NotificationKind::Deleted;
        Parts().pending.Put(InTree(name), notification);
    }
    static KernelHandle BackupMutex()
    {
        return KernelHandle(
            CreateMutexW(nullptr, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START")));
    }
    std::size_t RecordsOf(std::int32_t job) { return Index().GetDeletes(job).size(); }
};

TEST_F(Signals, WithoutEndPutDeletionsOffForAMinuteAtMost)
{
    Start();
    for (int second = 0; second <= 62 && !WorkerWasStarted(); second += 2) {
        RequestDeletions();
        PassAfter(2);
    }
    EXPECT_TRUE(WorkerWasStarted());
}

TEST_F(Signals, OfABackupThatDoesNotRunJoinNoDeletionsToAJobThatIsCompleted)
{
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    const KernelHandle stranger = BackupMutex();
    DeleteIndexed(L"b.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordsOf(1), 1u);
    EXPECT_EQ(RecordsOf(2), 1u);
}

TEST_F(Signals, OfABackupThatDoesNotRunJoinNoDeletionsToAJobThatHasEnded)
{
    SettingsDatum ended;
    ended.jobId = 7;
    ended.endTime = 1;
    ASSERT_TRUE(Index().Insert(ended));
    const KernelHandle stranger = BackupMutex();
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordsOf(7), 0u);
    EXPECT_EQ(RecordsOf(8), 1u);
}

TEST_F(Signals, OfABackupThatDoesNotRunLeaveDeletionsAJobWhereThereIsNone)
{
    const KernelHandle stranger = BackupMutex();
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordsOf(1), 1u);
    EXPECT_NE(GetFileAttributesW(folder.Path(L"destination\\Index.tdb.0")), INVALID_FILE_ATTRIBUTES);
}

} // namespace

// Exports of deletions that a user blocks, or whose files a user has made before.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/PassesFixture.h"

#include <shlobj.h>

namespace
{

class Exports : public Passes
{
protected:
    Exports()
    {
        SelectTree();
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.SetDestBackupFolderDB(destination);
    }
    // Puts a file in the place of a folder above the destination: nothing can be made there.
    void Block()
    {
        folder.WriteBytes(L"blocked", "x");
        watcher.SetDestBackupFolderDB(folder.Path(L"blocked\\deeper"));
    }
    void Unblock() { watcher.SetDestBackupFolderDB(destination); }
    void DeleteIndexed(const std::wstring& name)
    {
        const CString path = InTree(name);
        RecordWithTime(path, 1);
        auto notification = std::make_shared<Notification>();
        notification->kind = NotificationKind::Deleted;
        Parts().pending.Put(path, notification);
    }
    // Returns the jobs in the files of the destination, in the order of the files' numbers.
    std::vector<std::int32_t> ExportedJobs()
    {
        std::vector<std::int32_t> jobs;
        for (int number = 0;; ++number) {
            CString path;
            path.Format(L"%s\\Index.tdb.%d", destination.GetString(), number);
            if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES)
                return jobs;
            CIndexDB file;
            file.SetDBFilePath(path);
            SettingsDatum job;
            EXPECT_TRUE(file.Open(0, 0, 0) && file.GetLastJobData(job));
            EXPECT_FALSE(file.GetDeletes(job.jobId).empty());
            jobs.push_back(job.jobId);
        }
    }
    void FinishWorker()
    {
        ASSERT_TRUE(WorkerWasStarted());
        EXPECT_EQ(WaitForSingleObject(WatcherAccess::DeletionsThread(watcher).Get(), 20000), WAIT_OBJECT_0);
    }

    const CString destination = folder.Path(L"destination");
};

TEST_F(Exports, ThatFailAreMadeLaterEachJobOfThem)
{
    Block();
    for (const wchar_t* name : {L"a.txt", L"b.txt"}) {
        DeleteIndexed(name);
        watcher.ImmediateProcessDeletedFiles();
    }
    Unblock();
    EXPECT_EQ(ExportedJobs(), std::vector<std::int32_t>());
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(ExportedJobs(), (std::vector<std::int32_t>{1, 2}));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(ExportedJobs().size(), 2u) << "once";
}

TEST_F(Exports, ThatFailAreTriedAgainByTheWatch)
{
    Start();
    Block();
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    Unblock();
    PassAfter(1);
    PassAfter(6);
    FinishWorker();
    EXPECT_EQ(ExportedJobs(), std::vector<std::int32_t>{1});
}

TEST_F(Exports, ThatFailAreMadeAfterARestart)
{
    Block();
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    Unblock();
    // The state in memory must not know of them any more.
    WatcherAccess::ForgetUnsettledDeletions(watcher);
    COrbWatcher restarted(false);
    WatcherAccess::Parts(restarted).config.clock = &clock;
    restarted.Init();
    restarted.SetIndexDB(folder.Path(L"index.db"));
    restarted.SetDestBackupFolderDB(destination);
    WatchLoop loop = WatcherAccess::Loop(restarted);
    loop.Start();
    for (const std::int64_t seconds : {1, 6}) {
        clock.Advance(seconds);
        EXPECT_TRUE(loop.Pass());
    }
    loop.End();
    restarted.AbortWatching();
    EXPECT_EQ(ExportedJobs(), std::vector<std::int32_t>{1});
}

TEST_F(Exports, AreNotWrittenToFilesThatSomebodyHasMadeUnderTheirNames)
{
    // Files with names that follow from the process's number, each held open: a user could read a draft with such a
    // name, or send it elsewhere through a link.
    ASSERT_EQ(SHCreateDirectoryExW(nullptr, destination, nullptr), ERROR_SUCCESS);
    constexpr unsigned count = 64;
    std::vector<FileHandle> planted;
    for (unsigned i = 1; i <= count; ++i) {
        CString path;
        path.Format(L"%s\\~o%x-%x.tmp", destination.GetString(), GetCurrentProcessId(), i);
        planted.emplace_back(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_NEW,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    }
    DeleteIndexed(L"a.txt");
    watcher.ImmediateProcessDeletedFiles();
    for (const FileHandle& file : planted)
        EXPECT_EQ(GetFileSize(file.Get(), nullptr), 0u);
    EXPECT_EQ(ExportedJobs(), std::vector<std::int32_t>{1});
}

} // namespace

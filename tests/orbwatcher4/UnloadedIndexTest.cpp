// An index whose cache is not loaded: the watcher does not know what is indexed, and waits with what depends on it.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/LoopFixture.h"

namespace
{

class UnloadedIndex : public LoopFixture
{
protected:
    UnloadedIndex()
    {
        SelectTree();
        watcher.UpdateThreadsPriority(CPUSpeedFull);
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.SetDestBackupFolderDB(folder.Path(L"destination"));
        gone = Write(L"gone.txt");
        RecordWithTime(gone, 1);
        DeleteFileW(gone);
    }
    void MarkDeleted()
    {
        Handler().OnFileRemoved(gone);
        ASSERT_TRUE(Pending(gone));
    }

    CString gone;
};

TEST_F(UnloadedIndex, KeepsDeletionsPendingAndSettlesThemOnceItIsLoaded)
{
    MarkDeleted();
    CIndexDB::ClearCache();
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Pending(gone));
    ASSERT_TRUE(Index().LoadCache());
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_FALSE(Pending(gone));
    EXPECT_EQ(Index().GetDeletes(1).size(), 1u);
}

TEST_F(UnloadedIndex, IsAskedForAgainWithoutAnotherDeletion)
{
    MarkDeleted();
    CIndexDB::ClearCache();
    Start();
    PassAfter(1);
    PassAfter(6);
    WaitForSingleObject(WatcherAccess::DeletionsThread(watcher).Get(), 20000);
    EXPECT_TRUE(Pending(gone));
    ASSERT_TRUE(Index().LoadCache());
    PassAfter(60); // the longest pause: asked for
    PassAfter(6);
    WaitForSingleObject(WatcherAccess::DeletionsThread(watcher).Get(), 20000);
    EXPECT_FALSE(Pending(gone));
}

TEST_F(UnloadedIndex, LeavesAFullEnumerationDue)
{
    CIndexDB::ClearCache();
    ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    watcher.NoteFirstTimeRunCompleted();
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

} // namespace

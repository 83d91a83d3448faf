// The files that change because the watcher runs.
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class OwnFilesOfAWatcher : public WatcherFixture
{
protected:
    OwnFilesOfAWatcher()
    {
        watcher.SetIndexDB(InTree(L"index.db"));
        watcher.SetQueueDB(InTree(L"queue.db"));
        Select(Item(L"path=\"" + std::wstring(folder.Path()) + L"\" type=\"1\" includeSub=\"1\""));
    }
};

TEST_F(OwnFilesOfAWatcher, AreNoChanges)
{
    for (const wchar_t* name :
         {L"data\\OrbWatcher.log", L"data\\orbwatcher.1.LOG", L"tree\\index.db", L"tree\\index.db-wal",
          L"tree\\INDEX.db-shm", L"tree\\queue.db-journal", L"data\\watcher_running_1_1.bin"}) {
        const CString path = folder.Path(name);
        if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES)
            folder.WriteBytes(name, "x");
        Handler().OnFileAdded(path);
        Handler().OnFileModified(path);
        EXPECT_FALSE(Pending(path)) << Narrow(path.View());
        EXPECT_EQ(watcher.Explain(path).reason, PathExplanation::Reason::OwnFile) << Narrow(path.View());
    }
}

TEST_F(OwnFilesOfAWatcher, AreOnlyThoseAndNotWhatIsNamedAlike)
{
    for (const wchar_t* name :
         {L"tree\\OrbWatcher.log", L"database\\Other.log", L"tree\\index.db.bak", L"tree\\index.dbx"}) {
        folder.WriteBytes(name, "{}");
        Handler().OnFileAdded(folder.Path(name));
        EXPECT_TRUE(Pending(folder.Path(name))) << Narrow(std::wstring_view(name));
    }
}

TEST_F(OwnFilesOfAWatcher, AreAllThatTheDataFolderHolds)
{
    for (const wchar_t* name : {L"data\\UserConfigurations.json", L"data\\watcher_dump.bin", L"data\\deeper\\x"}) {
        folder.WriteBytes(name, "{}");
        Handler().OnFileAdded(folder.Path(name));
        EXPECT_FALSE(Pending(folder.Path(name))) << Narrow(std::wstring_view(name));
        EXPECT_EQ(watcher.Explain(folder.Path(name)).reason, PathExplanation::Reason::OwnFile);
    }
}

TEST_F(OwnFilesOfAWatcher, AreLeftOutByAnEnumeration)
{
    Write(L"index.db");
    Write(L"index.db-wal");
    folder.WriteBytes(L"data\\UserConfigurations.json", "{}");
    ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_EQ(watcher.GetEnumerationProgress().Of(PathOutcome::OwnFile), 3u); // the data folder counts as one
}

TEST_F(OwnFilesOfAWatcher, LeaveNoDeletionEither)
{
    const CString path = Write(L"index.db");
    RecordWithTime(path, 1);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    EXPECT_FALSE(Pending(path));
}

} // namespace

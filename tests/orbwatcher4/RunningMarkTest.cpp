// A run that did not end in an orderly way is made up for by the next one.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class UncleanEnd : public WatcherFixture
{
protected:
    UncleanEnd()
    {
        watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
        GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", static_cast<std::int32_t>(clock.Seconds()));
        EXPECT_TRUE(GetServiceRunSettings().Save());
    }

    void EndInDisorder()
    {
        COrbWatcher crashed(false);
        crashed.Init();
        crashed.StartWatch();
        crashed.AbortWatching();
    }
    bool IsEnumerationDue()
    {
        GetServiceRunSettings().Load();
        return GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1) == 0;
    }
    std::size_t Marks() { return CountFiles(L"data\\watcher_running_"); }
    std::size_t CountFiles(const wchar_t* beginning)
    {
        WIN32_FIND_DATAW data;
        const FindHandle search(FindFirstFileW(folder.Path(beginning) + L"*", &data));
        std::size_t count = search ? 1 : 0;
        while (search && FindNextFileW(search.Get(), &data))
            ++count;
        return count;
    }
};

TEST_F(UncleanEnd, MakesAFullEnumerationDueAtTheNextStart)
{
    EndInDisorder();
    EXPECT_FALSE(IsEnumerationDue());
    Parts().due.BeginRun();
    EXPECT_TRUE(IsEnumerationDue());
    EXPECT_EQ(Marks(), 1u);
}

TEST_F(UncleanEnd, IsNotWhatAnOrderlyEndIs)
{
    Parts().due.BeginRun();
    EXPECT_EQ(Marks(), 1u);
    watcher.DeInit();
    EXPECT_EQ(Marks(), 0u);
    Parts().due.BeginRun();
    EXPECT_FALSE(IsEnumerationDue());
}

TEST_F(UncleanEnd, IsNotWhatAnotherWatcherThatStillRunsIs)
{
    COrbWatcher other(false);
    other.Init();
    WatcherAccess::Parts(other).due.BeginRun();
    Parts().due.BeginRun();
    EXPECT_FALSE(IsEnumerationDue());
    EXPECT_EQ(Marks(), 2u);
}

TEST_F(UncleanEnd, IsNoticedByAReplayOfTheDumpToo)
{
    EndInDisorder();
    watcher.Resume();
    EXPECT_TRUE(IsEnumerationDue());
}

TEST_F(UncleanEnd, ThatAnEnumerationNoticesItselfIsMadeUpForByThatOne)
{
    ASSERT_TRUE(watcher.LoadSelection());
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    EndInDisorder();
    ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_TRUE(IsEnumerationDue());
    watcher.NoteFirstTimeRunCompleted();
    EXPECT_FALSE(IsEnumerationDue());
}

TEST_F(UncleanEnd, IsToldAgainUntilTheEnumerationIsNotedAsDue)
{
    EndInDisorder();
    const CString settings = folder.Path(L"data\\ServiceRunSettings.json");
    ASSERT_TRUE(SetFileAttributesW(settings, FILE_ATTRIBUTE_READONLY));
    Parts().due.BeginRun();
    ASSERT_TRUE(SetFileAttributesW(settings, FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(Marks(), 2u);
    Parts().due.BeginRun();
    EXPECT_EQ(Marks(), 1u);
    EXPECT_TRUE(IsEnumerationDue());
}

TEST_F(UncleanEnd, LeavesItsMarkWhereWhatIsPendingCannotBeKept)
{
    Parts().due.BeginRun();
    ASSERT_TRUE(CreateDirectoryW(folder.Path(L"data\\watcher_dump.bin"), nullptr));
    ASSERT_TRUE(watcher.LoadSelection());
    Handler().OnFileAdded(Write(L"a.txt"));
    watcher.DeInit();
    EXPECT_FALSE(watcher.IsPendingKept());
    EXPECT_EQ(Marks(), 1u);
}

TEST_F(UncleanEnd, IsMadeUpForAtOnceByAFullEnumeration)
{
    const CString changed = Write(L"changed.txt"), gone = Write(L"gone.txt"), unreachable(L"Y:\\away\\a.txt");
    RecordWithTime(changed, 1);
    RecordWithTime(gone, 1);
    RecordWithTime(unreachable, 1);
    ASSERT_TRUE(DeleteFileW(gone));
    watcher.SetIndexDB(folder.Path(L"index.db"));
    EndInDisorder();
    const wchar_t* name = L"orbwatcher4-test-made-up-for";
    const KernelHandle completed(CreateEventW(nullptr, TRUE, FALSE, name));
    watcher.SetFirstTimeCompletionEvent(name);
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    watcher.StartWatch();
    ASSERT_EQ(WaitForSingleObject(completed.Get(), 60000), WAIT_OBJECT_0);
    ASSERT_TRUE(Pending(changed));
    ASSERT_TRUE(Pending(gone));
    EXPECT_EQ(Pending(gone)->kind, NotificationKind::Deleted);
    EXPECT_FALSE(Pending(unreachable));
    CIndexDB::m_mapDeletePtr.clear();
}

} // namespace

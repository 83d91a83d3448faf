// A data folder that belongs to another selection, or to another index.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class FolderUse : public WatcherFixture
{
protected:
    FolderUse()
    {
        std::filesystem::create_directories(folder.Path(L"other").GetString());
        m_other = WriteRules(
            L"other.xml", Item(L"path=\"" + std::wstring(folder.Path(L"other")) + L"\" type=\"1\" includeSub=\"1\""));
        Use(watcher, WriteRules(L"data.xml", TreeItem()), folder.Path(L"index.db"));
        SetFullTime(static_cast<std::int32_t>(clock.Seconds()));
        Index();
    }

    void Use(COrbWatcher& user, const CString& selection, const CString& index)
    {
        WatcherAccess::Parts(user).config.clock = &clock;
        user.SetDataXmlPath(selection);
        user.SetIndexDB(index);
    }
    static void SetFullTime(std::int32_t time)
    {
        GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, time);
        EXPECT_TRUE(GetServiceRunSettings().Save());
    }
    static std::int32_t FullTime()
    {
        GetServiceRunSettings().Load();
        return GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, -1);
    }
    // Leaves one pending file behind, in the dump.
    CString LeavePending(COrbWatcher& user, const CString& path)
    {
        user.Resume();
        WatcherAccess::Handler(user).OnFileAdded(path);
        EXPECT_EQ(user.GetTotalFilesInMem(), 1);
        user.DeInit();
        return path;
    }
    CString WriteOther(const wchar_t* name)
    {
        folder.WriteBytes((std::wstring(L"other\\") + name).c_str(), "x");
        return folder.Path(L"other") + L"\\" + name;
    }
    CString Other() const { return m_other; }
    void LoseIndex()
    {
        ForgetIndex();
        for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
            DeleteFileW(folder.Path(L"index.db") + ending);
    }
    bool LogTells(const std::wstring& beginning) const
    {
        const std::vector<LogCapture::Line> lines = log.Lines();
        return std::any_of(lines.begin(), lines.end(),
                           [&](const LogCapture::Line& line) { return line.text.starts_with(beginning); });
    }

private:
    CString m_other;
};

TEST_F(FolderUse, WhatIsPendingForOneSelectionOutlivesAWatcherOfAnother)
{
    const CString pending = LeavePending(watcher, Write(L"a.txt"));
    COrbWatcher other(false);
    other.Init();
    Use(other, Other(), folder.Path(L"index.db"));
    other.Resume();
    EXPECT_EQ(other.GetTotalFilesInMem(), 0);
    other.DeInit();
    COrbWatcher next(false);
    next.Init();
    Use(next, folder.Path(L"data.xml"), folder.Path(L"index.db"));
    next.Resume();
    EXPECT_EQ(next.GetTotalFilesInMem(), 1);
    EXPECT_TRUE(WatcherAccess::Parts(next).pending.Find(pending));
}

TEST_F(FolderUse, WhatIsPendingForOneIndexOutlivesAWatcherOfAnother)
{
    LeavePending(watcher, Write(L"a.txt"));
    COrbWatcher other(false);
    other.Init();
    Use(other, folder.Path(L"data.xml"), folder.Path(L"other.db"));
    other.Resume();
    EXPECT_EQ(other.GetTotalFilesInMem(), 0);
    EXPECT_TRUE(DumpExists());
}

TEST_F(FolderUse, AWatcherOfAnotherSelectionKeepsNothingThereAndSaysSo)
{
    LeavePending(watcher, Write(L"a.txt"));
    COrbWatcher other(false);
    other.Init();
    Use(other, Other(), folder.Path(L"index.db"));
    const std::string dump = folder.ReadBytes(L"data\\watcher_dump.bin");
    LeavePending(other, WriteOther(L"b.txt"));
    EXPECT_FALSE(other.IsPendingKept());
    EXPECT_EQ(folder.ReadBytes(L"data\\watcher_dump.bin"), dump);
    EXPECT_TRUE(LogTells(L"The data folder belongs to the selection " + std::wstring(folder.Path(L"data.xml"))));
}

TEST_F(FolderUse, AWatcherOfAnotherSelectionHasAFullEnumerationDueAtEachStart)
{
    LeavePending(watcher, Write(L"a.txt"));
    for (int start = 0; start < 2; ++start) {
        COrbWatcher other(false);
        other.Init();
        Use(other, Other(), folder.Path(L"index.db"));
        other.Resume();
        ASSERT_TRUE(other.LoadSelection());
        EXPECT_EQ(WatcherAccess::Parts(other).due.FullCompletedAt(), 0);
        WatcherAccess::Parts(other).due.FullBegins();
        other.NoteFirstTimeRunCompleted();
        EXPECT_EQ(WatcherAccess::Parts(other).due.FullCompletedAt(), clock.Seconds());
        other.DeInit();
    }
    EXPECT_EQ(FullTime(), clock.Seconds());
}

TEST_F(FolderUse, WhatAnotherSelectionHasMadeDueIsNotUsedUp)
{
    LeavePending(watcher, Write(L"a.txt"));
    {
        COrbWatcher crashed(false);
        crashed.Init();
        Use(crashed, folder.Path(L"data.xml"), folder.Path(L"index.db"));
        crashed.Resume();
    }
    COrbWatcher other(false);
    other.Init();
    Use(other, Other(), folder.Path(L"index.db"));
    other.Resume();
    WatcherAccess::Parts(other).due.FullBegins();
    other.NoteFirstTimeRunCompleted();
    other.DeInit();
    watcher.Init();
    Use(watcher, folder.Path(L"data.xml"), folder.Path(L"index.db"));
    watcher.Resume();
    EXPECT_EQ(FullTime(), 0);
}

TEST_F(FolderUse, TheSameFileUnderAnotherNameIsTheSameSelection)
{
    const CString pending = LeavePending(watcher, Write(L"a.txt"));
    COrbWatcher next(false);
    next.Init();
    Use(next, CString(folder.Path(L"tree")) + L"\\..\\DATA.XML", folder.Path(L"INDEX.DB"));
    next.Resume();
    EXPECT_TRUE(WatcherAccess::Parts(next).pending.Find(pending));
}

TEST_F(FolderUse, AnIndexThatIsNotTheOneOfTheLastRunMakesAFullEnumerationDue)
{
    watcher.Resume();
    watcher.DeInit();
    EXPECT_EQ(FullTime(), clock.Seconds());
    LoseIndex();
    Index();
    COrbWatcher next(false);
    next.Init();
    Use(next, folder.Path(L"data.xml"), folder.Path(L"index.db"));
    next.Resume();
    EXPECT_EQ(FullTime(), 0);
    EXPECT_TRUE(LogTells(L"The index " + std::wstring(folder.Path(L"index.db")) + L" is not the one of the last run"));
    next.DeInit();
    SetFullTime(static_cast<std::int32_t>(clock.Seconds()));
    COrbWatcher later(false);
    later.Init();
    Use(later, folder.Path(L"data.xml"), folder.Path(L"index.db"));
    later.Resume();
    EXPECT_EQ(FullTime(), clock.Seconds());
}

TEST_F(FolderUse, AnIndexThatIsLostMakesAFullEnumerationDue)
{
    watcher.Resume();
    watcher.DeInit();
    LoseIndex();
    COrbWatcher next(false);
    next.Init();
    Use(next, folder.Path(L"data.xml"), folder.Path(L"index.db"));
    next.Resume();
    EXPECT_EQ(FullTime(), 0);
    EXPECT_TRUE(LogTells(L"The index " + std::wstring(folder.Path(L"index.db")) + L" is lost"));
}

TEST_F(FolderUse, ANewIndexInAFolderThatRemembersNoneIsLeftToTheService)
{
    watcher.Resume();
    EXPECT_EQ(FullTime(), clock.Seconds());
}

TEST_F(FolderUse, AFolderThatRemembersNothingIsTakenOver)
{
    const CString pending = LeavePending(watcher, Write(L"a.txt"));
    folder.WriteBytes(L"data\\ServiceRunSettings.json", "{\"Backup\": {\"FirstTimeRunTime\": 1767225600}}");
    COrbWatcher next(false);
    next.Init();
    Use(next, folder.Path(L"data.xml"), folder.Path(L"other.db"));
    next.Resume();
    EXPECT_TRUE(WatcherAccess::Parts(next).pending.Find(pending));
    EXPECT_NE(folder.ReadBytes(L"data\\ServiceRunSettings.json").find("other.db"), std::string::npos);
}

} // namespace

// Names that have the key of another user's path. A user who may name a file can make such a name in a moment.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "support/Hashes.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/security/ForgedPath.h"

#include <algorithm>

namespace
{

class ForgedKeys : public WatcherFixture
{
protected:
    ForgedKeys()
    {
        watcher.UpdateThreadsPriority(CPUSpeedFull);
        SelectTree();
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
    }
    ~ForgedKeys() override { CIndexDB::m_mapDeletePtr.clear(); }

    // Returns a name in the attacker's folder with the key of the victim's path.
    std::wstring Forge(const CString& victim, std::wstring_view ending = {})
    {
        return ForgedPath(std::wstring(InTree(L"attacker\\")), victim.View(), ending);
    }
    static ItemDatum Item(const CString& path, std::uint64_t time = 1) { return {path, 0, time, 0, 0}; }
    static bool IsIndexed(const CString& path)
    {
        CachedDatum datum;
        return CIndexDB::GetCachedData(path.GetString(), datum) && datum.path == path;
    }
    static std::uint64_t Modified(const CString& path)
    {
        std::uint64_t modified = 0;
        EXPECT_TRUE(GetFileTimes(path, false, nullptr, &modified));
        return modified;
    }
    CString WriteAt(const std::wstring& path)
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(std::filesystem::path(path)) << "x";
        return path.c_str();
    }
    void MarkDeleted(const CString& path)
    {
        auto notification = std::make_shared<Notification>();
        notification->kind = NotificationKind::Deleted;
        Parts().pending.Put(path, notification);
    }
    bool WasHandedOut(const CString& path)
    {
        const std::vector<std::wstring> given = Drain();
        return std::any_of(given.begin(), given.end(), [&](const std::wstring& one) { return path == one.c_str(); });
    }
};

TEST_F(ForgedKeys, AreMadeInAMomentFromLegalNames)
{
    const CString victim = InTree(L"victim.txt");
    for (const wchar_t* ending : {L"", L".txt", L"\\", L"\\in.txt"}) {
        const std::wstring forged = Forge(victim, ending);
        EXPECT_EQ(PathHash64(forged), PathHash64(victim.View()));
        EXPECT_NE(forged, victim.View());
    }
    EXPECT_TRUE(WriteAt(Forge(victim)).GetLength() > 0);
    EXPECT_NE(GetFileAttributesW(Forge(victim).c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(ForgedKeys, DoNotReplaceTheRecordOfTheVictim)
{
    const CString victim = InTree(L"victim.txt"), forged = Forge(victim).c_str();
    ASSERT_TRUE(Index().RecordItem(Item(victim)));
    EXPECT_FALSE(Index().RecordItem(Item(forged, 2)));
    EXPECT_EQ(Index().GetLastDbError(), CIndexDB::Error::Failed);
    EXPECT_NE(Index().GetLastDbErrorText().Find(victim), -1) << Narrow(Index().GetLastDbErrorText().View());
    EXPECT_TRUE(log.Has(L"Cannot record " + std::wstring(forged) + L": its key belongs to " + std::wstring(victim) +
                        L". It stays new."));
    EXPECT_TRUE(IsIndexed(victim));
    EXPECT_FALSE(IsIndexed(forged));
    ASSERT_TRUE(Index().LoadCache());
    EXPECT_TRUE(IsIndexed(victim)) << "in the database, too";
}

TEST_F(ForgedKeys, KeepNothingElseOfABatchOutOfTheIndex)
{
    const CString victim = InTree(L"victim.txt"), forged = Forge(victim).c_str(), other = InTree(L"other.txt");
    EXPECT_FALSE(Index().RecordItems({Item(victim), Item(forged), Item(other)}));
    EXPECT_TRUE(IsIndexed(victim));
    EXPECT_TRUE(IsIndexed(other));
    EXPECT_FALSE(IsIndexed(forged));
    ASSERT_TRUE(Index().LoadCache());
    EXPECT_TRUE(IsIndexed(victim) && IsIndexed(other) && !IsIndexed(forged));
}

TEST_F(ForgedKeys, DoNotMakeANewFileLookBackedUp)
{
    const CString victim = Write(L"victim.txt"), forged = Forge(victim).c_str();
    ASSERT_TRUE(Index().RecordItem(Item(forged, Modified(victim))));
    Handler().OnFileAdded(victim);
    ASSERT_TRUE(Pending(victim));
    QueueDatum datum;
    ASSERT_TRUE(watcher.GetSingleNotification(nullptr, datum));
    EXPECT_EQ(victim, datum.path);
    EXPECT_TRUE(datum.flags & QueueFlags::New);
}

TEST_F(ForgedKeys, DoNotDelayTheVictimWhenABackupHasTakenThemAlready)
{
    const KernelHandle backup(
        CreateMutexW(nullptr, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START")));
    const CString victim = Write(L"victim.txt"), forged = WriteAt(Forge(victim));
    std::set<unsigned __int64> run;
    QueueDatum datum;
    Handler().OnFileAdded(forged);
    ASSERT_TRUE(watcher.GetSingleNotification(&run, datum));
    Handler().OnFileAdded(victim);
    EXPECT_TRUE(watcher.GetSingleNotification(&run, datum)) << "in the same run";
    EXPECT_EQ(victim, datum.path);
    Handler().OnFileModified(victim);
    EXPECT_FALSE(watcher.GetSingleNotification(&run, datum)) << "but once";
    run.clear();
    EXPECT_TRUE(watcher.GetSingleNotification(&run, datum));
}

TEST_F(ForgedKeys, OfAnUploadedFileDoNotKeepTheVictimBack)
{
    GetMainSettings().SetValue(L"Main::Online", 1);
    const CString victim = Write(L"victim.txt"), forged = Forge(victim).c_str();
    ASSERT_TRUE(Index().RecordItem(Item(victim, 1)));
    Parts().config.online->AddUploaded(forged, Modified(victim));
    Handler().OnFileModified(victim);
    EXPECT_TRUE(Pending(victim));
    EXPECT_TRUE(WasHandedOut(victim));
    GetMainSettings().SetValue(L"Main::Online", 0);
}

TEST_F(ForgedKeys, OfADeletedFileDeleteNothingOfTheVictim)
{
    const CString victim = Write(L"victim.txt"), forged = Forge(victim).c_str();
    Record(victim);
    MarkDeleted(forged);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Index().GetDeletes(1).empty());
    CachedDatum datum;
    ASSERT_TRUE(CIndexDB::GetCachedData(victim.GetString(), datum));
    EXPECT_FALSE(datum.flags & CachedDatum::NoDeleteRecord);
}

TEST_F(ForgedKeys, OfADeletedFolderDeleteNothingOfTheVictim)
{
    const CString victim = MakeFolder(L"victim"), file = Write(L"victim\\in.txt"), forged = Forge(victim).c_str();
    ASSERT_TRUE(Index().RecordItem({victim, 1, 1, CachedDatum::Folder, 0}));
    Record(file);
    Handler().OnFileRemoved(forged);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Index().GetDeletes(1).empty());
}

TEST_F(ForgedKeys, OfAFolderKeepNoOtherFolderOutOfAnEnumeration)
{
    const CString victim = Write(L"victim\\in.txt");
    const CString forged = WriteAt(Forge(InTree(L"victim\\"), L"\\") + L"in.txt");
    ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_TRUE(Pending(victim));
    EXPECT_TRUE(Pending(forged));
}

TEST_F(ForgedKeys, OfAFolderWhoseFilesWereReportedKeepNoFilesOutOfAnEnumeration)
{
    const CString victim = InTree(L"victim");
    const std::wstring forged = Forge(victim + L"\\*", L"\\*");
    FilterAccess::MemoryOf(Parts().selection.primary).AddFilesReported(CString(forged.substr(0, forged.size() - 2)));
    EXPECT_FALSE(FilterAccess::MemoryOf(Parts().selection.primary).AreFilesReported(victim));
    EXPECT_TRUE(FilterAccess::MemoryOf(Parts().selection.primary)
                    .AreFilesReported(CString(forged.substr(0, forged.size() - 2))));
}

} // namespace

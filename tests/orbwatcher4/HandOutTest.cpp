// Handing pending files out, on real files.
#include "companions/online/OnlineCallbackHandler.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/environment/NamePatterns.h"
#include "support/Hashes.h"
#include "support/SystemPath.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

class HandOuts : public WatcherFixture
{
protected:
    HandOuts() { SelectTree(); }

    bool Next(QueueDatum& datum, std::set<unsigned __int64>* sameRun = nullptr)
    {
        return watcher.GetSingleNotification(sameRun, datum);
    }
    CString AddFile(const wchar_t* name, const std::string& bytes = "x")
    {
        const CString path = Write(name, bytes);
        Handler().OnFileAdded(path);
        return path;
    }
    void GoOnline()
    {
        GetMainSettings().Load();
        GetMainSettings().SetValue(L"Main::Online", 1);
    }
    ~HandOuts() override { GetMainSettings().SetValue(L"Main::Online", 0); }
};

TEST_F(HandOuts, ARecordHoldsWhatTheDiskAndTheRulesSay)
{
    Select(Item(L"path=\"" + std::wstring(tree) +
                L"\" type=\"1\" includeSub=\"1\" pluginName=\"Docs\" pluginId=\"7\" jobid=\"5\" flags=\"1024\""));
    const CString path = AddFile(L"a.txt", "12345");
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_STREQ(datum.path, path);
    EXPECT_EQ(datum.id, CIndexDB::CalculateUuid(path));
    EXPECT_EQ(datum.size, 5u);
    std::uint64_t created = 0, modified = 0;
    ASSERT_TRUE(GetFileTimes(path, false, &created, &modified));
    EXPECT_EQ(static_cast<std::uint64_t>(datum.modificationTime), modified);
    EXPECT_EQ(static_cast<std::uint64_t>(datum.creationTime), created);
    EXPECT_EQ(datum.constant2, 2u);
    EXPECT_EQ(datum.minusOne0, -1);
    EXPECT_EQ(datum.minusOne1, -1);
    EXPECT_STREQ(datum.firstText, L"Docs");
    EXPECT_STREQ(datum.secondText, L"7");
    EXPECT_EQ(datum.ruleValue, 5u);
    EXPECT_EQ(datum.flags, 0x10u | 0x02u | 0x400u | 0x800000u);
    EXPECT_EQ(datum.attributes, GetFileAttributesW(path));
    EXPECT_TRUE(log.Has(L"Adding ...  " + std::wstring(path)));
    EXPECT_FALSE(Next(datum));
}

// Refuses every look at one file by its path, as when a program holds it for itself alone.
class UnseenFile
{
public:
    explicit UnseenFile(const CString& path) { s_path = path.GetString(); }

private:
    static BOOL WINAPI Answer(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data)
    {
        if (_wcsicmp(PlainPath(path), s_path.c_str()) == 0) {
            SetLastError(ERROR_SHARING_VIOLATION);
            return FALSE;
        }
        return s_original(path, level, data);
    }

    static inline const auto s_original = SystemFunction<decltype(GetFileAttributesExW)>("GetFileAttributesExW");
    static inline std::wstring s_path;
    const ImportedCall m_call{nullptr, "GetFileAttributesExW", &Answer};
};

HANDLE WINAPI RefuseSearch(const wchar_t*, WIN32_FIND_DATAW*)
{
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

TEST_F(HandOuts, AFileThatMayNotBeLookedAtIsHandedOutAsItsFolderListsIt)
{
    const CString path = AddFile(L"a.txt", "12345");
    const UnseenFile unseen(path);
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_EQ(datum.size, 5u);
}

TEST_F(HandOuts, AFileOfWhichNothingCanBeReadIsKeptAndSaidSo)
{
    const CString path = AddFile(L"a.txt");
    const UnseenFile unseen(path);
    const ImportedCall find(nullptr, "FindFirstFileW", &RefuseSearch);
    QueueDatum datum;
    EXPECT_FALSE(Next(datum));
    EXPECT_TRUE(Pending(path));
    EXPECT_TRUE(log.Has(L"Failed to get file info: " + std::wstring(path)));
}

TEST_F(HandOuts, ADirectoryReportsItsCreationTimeAsModificationTime)
{
    MakeFolder(L"sub");
    Handler().OnFileAdded(InTree(L"sub"));
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_STREQ(datum.path, InTree(L"sub\\"));
    EXPECT_TRUE(datum.flags & 0x04);
    EXPECT_FALSE(datum.flags & 0x02);
    EXPECT_EQ(datum.modificationTime, datum.creationTime);
}

// With its backslash the path of a link is that of the folder which it leads to.
DWORD WINAPI AttributesOfLink(LPCWSTR path)
{
    const std::wstring_view text = path;
    return FILE_ATTRIBUTE_DIRECTORY | (text.ends_with(L'\\') ? 0 : FILE_ATTRIBUTE_REPARSE_POINT);
}

TEST_F(HandOuts, ALinkToAFolderHasItsOwnAttributes)
{
    MakeFolder(L"link");
    Handler().OnFileAdded(InTree(L"link"));
    QueueDatum datum;
    const ImportedCall attributes(nullptr, "GetFileAttributesW", AttributesOfLink);
    ASSERT_TRUE(Next(datum));
    EXPECT_STREQ(datum.path, InTree(L"link\\"));
    EXPECT_EQ(datum.attributes, DWORD(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT));
}

TEST_F(HandOuts, AnEmptyStoreLogsOnEveryCall)
{
    QueueDatum datum;
    EXPECT_FALSE(Next(datum));
    EXPECT_FALSE(Next(datum));
    EXPECT_EQ(log.Count(L"No files to move to queue. Exiting."), 2);
}

TEST_F(HandOuts, AnEmptyStoreGivesItsMemoryBackEachTimeItWasFilledAgain)
{
    QueueDatum datum;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 2000; ++i)
            WatcherAccess::Store(watcher).Put(InTree(L"gone" + std::to_wstring(i)), std::make_shared<Notification>());
        EXPECT_FALSE(Next(datum)); // drops them all
        ASSERT_EQ(WatcherAccess::Store(watcher).LiveCount(), 0);
        EXPECT_GT(WatcherAccess::Store(watcher).TableBytes(), 0u);
        EXPECT_FALSE(Next(datum)); // finds it empty
        EXPECT_EQ(WatcherAccess::Store(watcher).TableBytes(), 0u) << round;
    }
}

TEST_F(HandOuts, AFolderThatCannotBeOpenedHasTheTimeZero)
{
    const CString path = MakeFolder(L"kept");
    Handler().OnFileAdded(path);
    const FileHandle others(
        CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    ASSERT_TRUE(static_cast<bool>(others));
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_EQ(datum.modificationTime, 0);
    EXPECT_TRUE(log.Has(L"Warning: Failed to get file's modification date (inaccessible file)"));
}

TEST_F(HandOuts, AFileThatIsGoneIsDroppedWithItsMessage)
{
    const CString path = AddFile(L"a.txt");
    DeleteFileW(path);
    QueueDatum datum;
    EXPECT_FALSE(Next(datum));
    EXPECT_TRUE(log.Has(L"Not backing up deleted file " + std::wstring(path) + L"."));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(HandOuts, AFileOnADriveThatIsAwayIsKept)
{
    {
        Parts().pending.Put(L"Y:\\docs\\a.txt", std::make_shared<Notification>());
    }
    QueueDatum datum;
    EXPECT_FALSE(Next(datum));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
}

TEST_F(HandOuts, AnUnchangedIndexedFileIsDroppedSilently)
{
    const CString path = AddFile(L"a.txt");
    Record(path);
    log.Clear();
    QueueDatum datum;
    EXPECT_FALSE(Next(datum));
    EXPECT_FALSE(Pending(path));
    for (const LogCapture::Line& line : log.Lines())
        EXPECT_EQ(line.text.find(path.GetString()), std::wstring::npos) << Narrow(line.text);
}

TEST_F(HandOuts, AnItemMarkedWith0x40IsHandedOutAsNewThoughUnchanged)
{
    const CString path = AddFile(L"a.txt");
    Record(path, 0x40);
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_TRUE(datum.flags & 0x10);
}

TEST_F(HandOuts, AChangedIndexedFileIsNotNew)
{
    const CString path = AddFile(L"a.txt");
    RecordWithTime(path, 1);
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_FALSE(datum.flags & 0x10);
}

TEST_F(HandOuts, ASecondChangeDuringARunningBackupIsDelayed)
{
    const KernelHandle backup(
        CreateMutexW(nullptr, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START")));
    std::set<unsigned __int64> run;
    const CString path = AddFile(L"a.txt");
    QueueDatum datum;
    ASSERT_TRUE(Next(datum, &run));
    EXPECT_EQ(run, std::set<unsigned __int64>{CIndexDB::CalculateUuid(path)});
    Handler().OnFileModified(path);
    EXPECT_FALSE(Next(datum, &run));
    EXPECT_TRUE(log.Has(L"Delaying backup of file " + std::wstring(path) + L" due to same run."));
    EXPECT_TRUE(Pending(path));
    run.clear();
    EXPECT_TRUE(Next(datum, &run));
}

TEST_F(HandOuts, ASecondChangeDuringARunningBackupIsDroppedWhenTheIndexSaysSo)
{
    const KernelHandle backup(
        CreateMutexW(nullptr, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START")));
    const CString path = AddFile(L"a.txt");
    RecordWithTime(path, 1, 4);
    std::set<unsigned __int64> run{CIndexDB::CalculateUuid(path)};
    QueueDatum datum;
    EXPECT_FALSE(Next(datum, &run));
    EXPECT_FALSE(Pending(path));
}

TEST_F(HandOuts, TheSameRunCountsOnlyWhileABackupIsRunning)
{
    const CString path = AddFile(L"a.txt");
    std::set<unsigned __int64> run{CIndexDB::CalculateUuid(path)};
    QueueDatum datum;
    EXPECT_TRUE(Next(datum, &run));
}

TEST_F(HandOuts, OnlineAFileThatWasUploadedAsItIsIsDropped)
{
    GoOnline();
    const CString path = AddFile(L"a.txt");
    std::uint64_t modified = 0;
    ASSERT_TRUE(GetFileTimes(path, false, nullptr, &modified));
    Parts().config.online->AddUploaded(path, modified);
    QueueDatum datum;
    EXPECT_FALSE(Next(datum));
    EXPECT_TRUE(log.Has(L"Skipping duplicate notification for file " + std::wstring(path) + L"."));
    EXPECT_FALSE(Pending(path));
}

TEST_F(HandOuts, OnlineANewVersionOfAnUploadedFileIsDelayed)
{
    GoOnline();
    const CString path = AddFile(L"a.txt");
    Parts().config.online->AddUploaded(path, 1);
    QueueDatum datum;
    EXPECT_FALSE(Next(datum));
    EXPECT_TRUE(log.Has(L"Delaying new version notification for file " + std::wstring(path) + L"."));
    EXPECT_TRUE(Pending(path));
}

TEST_F(HandOuts, OfflineTheUploadTableIsNotAsked)
{
    const CString path = AddFile(L"a.txt");
    Parts().config.online->AddUploaded(path, 1);
    QueueDatum datum;
    EXPECT_TRUE(Next(datum));
}

TEST_F(HandOuts, AFileThatIsOpenWithoutSharingIsHandedOutWithAnUnknownTime)
{
    const CString path = AddFile(L"a.txt");
    const FileHandle open(CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_EQ(datum.modificationTime, -1);
    EXPECT_EQ(datum.creationTime, 0);
    EXPECT_TRUE(log.Has(L"Warning: Failed to get file's modification date (inaccessible file)"));
}

TEST_F(HandOuts, TheDriveLetterIsUpperCased)
{
    CString path = Write(L"a.txt");
    path.SetAt(0, L'c');
    Handler().OnFileAdded(path);
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_EQ(datum.path[0], L'C');
}

TEST_F(HandOuts, TheFirstLetterOfAServerIsUpperCased)
{
    if (TestShare().empty())
        GTEST_SKIP() << "there is no share \\\\server\\share for tests";
    Select(Item(L"path=\"\\\\server\\share\" type=\"1\" includeSub=\"1\""));
    std::ofstream(L"\\\\server\\share\\handed out.txt") << "x";
    Handler().OnFileAdded(L"\\\\server\\share\\handed out.txt");
    QueueDatum datum;
    const bool given = Next(datum);
    DeleteFileW(L"\\\\server\\share\\handed out.txt");
    ASSERT_TRUE(given);
    EXPECT_STREQ(datum.path, L"\\\\Server\\share\\handed out.txt");
}

TEST_F(HandOuts, AFileOfTheBlockLevelListIsMarkedAndAFolderOfThatNameIsNot)
{
    watcher.SetBlockLevelExt(L"*.PST;data?.bin");
    AddFile(L"Mail.pst");
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_TRUE(datum.flags & 0x80);
    Handler().OnFileAdded(MakeFolder(L"folder.pst"));
    ASSERT_TRUE(Next(datum));
    EXPECT_FALSE(datum.flags & 0x80);
    EXPECT_FALSE(MatchesNamePatterns(InTree(L"data12.bin"), Parts().config.blockLevelNames));
    EXPECT_TRUE(MatchesNamePatterns(InTree(L"DATA1.bin"), Parts().config.blockLevelNames));
}

TEST_F(HandOuts, ADedupCandidateLosesItsMarkInAnIgnoredFolder)
{
    Select(Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" flags=\"67108864\""));
    AddFile(L"a.txt");
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_TRUE(datum.flags & 0x4000000);
    watcher.SetIgnoredDedup({}, {}, {PathHash64(tree.View())});
    AddFile(L"b.txt");
    ASSERT_TRUE(Next(datum));
    EXPECT_FALSE(datum.flags & 0x4000000);
}

TEST_F(HandOuts, IgnoredDedupTriesNameExtensionAndFoldersFromTheSecondBackslashOn)
{
    const wchar_t* path = L"C:\\Users\\Alice\\Docs\\File.TXT";
    const auto ignored = [&] { return Parts().config.notForDedup.Contains(path); };
    const auto only = [&](const wchar_t* folderKey) { watcher.SetIgnoredDedup({}, {}, {PathHash64(folderKey)}); };
    EXPECT_FALSE(ignored());
    watcher.SetIgnoredDedup({PathHash64(L"file.txt")}, {}, {});
    EXPECT_TRUE(ignored());
    watcher.SetIgnoredDedup({}, {PathHash64(L"txt")}, {}); // without the dot
    EXPECT_TRUE(ignored());
    watcher.SetIgnoredDedup({}, {PathHash64(L".txt")}, {});
    EXPECT_FALSE(ignored());
    for (const wchar_t* hit : {L"c:\\users\\alice", L"c:\\users\\alice\\docs", L"c:\\users\\alice\\docs\\file.txt"}) {
        only(hit);
        EXPECT_TRUE(ignored()) << Narrow(hit);
    }
    for (const wchar_t* miss : {L"c:", L"c:\\users", L"c:\\users\\alice\\"}) {
        only(miss);
        EXPECT_FALSE(ignored()) << Narrow(miss);
    }
}

TEST_F(HandOuts, AnAttachmentOfTheCallerIsFreedAndTheRecordZeroedBeforeItIsFilled)
{
    AddFile(L"a.txt");
    QueueDatum datum;
    datum.attachment = AllocateQueueAttachment(L"of the last file");
    ASSERT_TRUE(datum.attachment);
    EXPECT_STREQ(datum.attachment->text, L"of the last file");
    datum.reserved3 = 0xAA;
    std::fill_n(datum.secondText, 520, L'x');
    ASSERT_TRUE(Next(datum));
    EXPECT_EQ(datum.attachment, nullptr);
    EXPECT_EQ(datum.reserved3, 0u);
    EXPECT_STREQ(datum.secondText, L"");
}

TEST_F(HandOuts, LongRuleTextsAreCutToTheirFields)
{
    const std::wstring name(600, L'n');
    Select(Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" pluginName=\"" + name + L"\""));
    AddFile(L"a.txt");
    QueueDatum datum;
    ASSERT_TRUE(Next(datum));
    EXPECT_EQ(std::wcslen(datum.firstText), 259u);
}

TEST_F(HandOuts, DrainingManyFilesLooksAtEachSlotAboutOnce)
{
    constexpr int Count = 300;
    for (int i = 0; i < Count; ++i)
        AddFile((L"f" + std::to_wstring(i)).c_str());
    const std::uint64_t before = WatcherAccess::Store(watcher).PlacesVisited();
    EXPECT_EQ(Drain().size(), std::size_t(Count));
    EXPECT_LE(WatcherAccess::Store(watcher).PlacesVisited() - before, std::uint64_t(Count) * 8 + 64);
}

TEST_F(HandOuts, PendingDeletionsAreNotHandedOutAndDoNotKeepOthersBack)
{
    const CString gone = Write(L"gone.txt");
    RecordWithTime(gone, 1);
    DeleteFileW(gone);
    Handler().OnFileRemoved(gone);
    const CString path = AddFile(L"a.txt");
    EXPECT_EQ(Drain(), std::vector<std::wstring>{path.GetString()});
}

TEST_F(HandOuts, AFileThatGoesBetweenHandOutAndRecordBecomesADeletion)
{
    SelectTree();
    Index();
    const CString path = Write(L"short.txt");
    Handler().OnFileAdded(path);
    ASSERT_EQ(Drain().size(), 1u);
    ASSERT_TRUE(DeleteFileW(path));
    Handler().OnFileRemoved(path); // the index does not hold it yet
    RecordWithTime(path, 1);
    EXPECT_FALSE(Pending(path));
    watcher.LookAgainAfterRecording({path});
    ASSERT_TRUE(Pending(path));
    EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted);
}

} // namespace

// Pending files survive a restart. DumpWritingTest.cpp tries how the dump is written.
#include "support/SystemPath.h"
#include "tests/orbwatcher4/DiskCalls.h"
#include "tests/orbwatcher4/DumpFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

class DumpAndResume : public DumpFixture
{
};

// The system refuses to delete a dump.
class DumpThatStays
{
    static BOOL WINAPI Refuse(const wchar_t* path)
    {
        if (!std::wstring_view(path).ends_with(L"watcher_dump.bin"))
            return s_original(path);
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }

    static inline const auto s_original = SystemFunction<decltype(DeleteFileW)>("DeleteFileW");
    const ImportedCall m_call{nullptr, "DeleteFileW", &Refuse};
};

TEST_F(DumpAndResume, ADumpThatCannotBeRemovedIsReplayedAgainAndIsNotTakenForAnother)
{
    LeaveOne();
    const DumpThatStays stays;
    for (int start = 0; start < 2; ++start) {
        EXPECT_TRUE(watcher.LoadSelection());
        watcher.Resume();
        EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
        EXPECT_TRUE(LogSays(L"cannot be removed: error 5"));
        EXPECT_FALSE(LogSays(L"is not as the last run left it"));
        EXPECT_EQ(CompletionTime(), 12345);
        Drain();
    }
}

TEST_F(DumpAndResume, AReadOnlyDumpIsExtendedAndRemovedLikeAnother)
{
    LeaveOne();
    const CString dump = DumpFilePath();
    ASSERT_TRUE(SetFileAttributesW(dump, FILE_ATTRIBUTE_READONLY));
    EXPECT_TRUE(watcher.LoadSelection());
    Handler().OnFileAdded(Write(L"b.txt"));
    watcher.DeInit();
    EXPECT_TRUE(watcher.IsPendingKept());
    SelectAgain();
    SetFileAttributesW(dump, FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(watcher.LoadSelection());
    watcher.Resume();
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 2);
    EXPECT_FALSE(DumpExists());
}

TEST_F(DumpAndResume, AReplayedFileIsLookedAtBeforeAndDuringItsJudgement)
{
    LeaveOne();
    EXPECT_TRUE(watcher.LoadSelection());
    const DiskCalls calls(InTree(L"a.txt"));
    watcher.Resume();
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
    EXPECT_EQ(calls.All(), (DiskCalls::Counts{{"GetFileAttributesW", 2}}));
}

TEST_F(DumpAndResume, AnEmptyStoreCreatesNoFileButSaysThatItIsDone)
{
    watcher.DeInit();
    EXPECT_FALSE(DumpExists());
    EXPECT_TRUE(log.Has(L"Dumping 0 files to disk"));
    EXPECT_TRUE(log.Has(L"Watcher dump completed."));
    EXPECT_EQ(watcher.IsInitilized(), 0);
}

TEST_F(DumpAndResume, EachPathIsWrittenAsUnitsWithALineFeedAndNothingElse)
{
    const CString path = Write(L"ä.txt");
    Handler().OnFileAdded(path);
    watcher.DeInit();
    EXPECT_EQ(DumpBytes(), Bytes(std::wstring(path) + L"\n"));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
    EXPECT_TRUE(log.Has(L"Dumping 1 files to disk"));
}

TEST_F(DumpAndResume, TwoDumpsWithoutAResumeBetweenThemStandInOneFile)
{
    const CString first = Write(L"a.txt"), second = Write(L"b.txt");
    Handler().OnFileAdded(first);
    watcher.DeInit();
    SelectAgain();
    ASSERT_TRUE(watcher.LoadSelection());
    Handler().OnFileAdded(second);
    watcher.DeInit();
    EXPECT_EQ(DumpBytes(), Bytes(std::wstring(first) + L"\n" + std::wstring(second) + L"\n"));
}

TEST_F(DumpAndResume, AResumeLoadsTheSelectionBeforeItReplaysAndDeletesTheDump)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    watcher.DeInit();
    SelectAgain();
    watcher.Resume();
    EXPECT_TRUE(Pending(path));
    EXPECT_FALSE(DumpExists());
}

TEST_F(DumpAndResume, AStoppedReplayKeepsTheDumpAndTheNextOneReplaysItAll)
{
    const CString path = Write(L"a.txt");
    WriteDump(std::wstring(path) + L"\n");
    Parts().stop.SetEvent();
    watcher.Resume();
    EXPECT_TRUE(DumpExists());
    EXPECT_FALSE(Pending(path));
    Parts().stop.ResetEvent();
    watcher.Resume();
    EXPECT_TRUE(Pending(path));
    EXPECT_FALSE(DumpExists());
}

TEST_F(DumpAndResume, ALastLineWithoutALineFeedIsDropped)
{
    const CString whole = Write(L"a.txt"), cut = Write(L"b.txt");
    WriteDump(std::wstring(whole) + L"\n" + std::wstring(cut));
    watcher.Resume();
    EXPECT_TRUE(Pending(whole));
    EXPECT_FALSE(Pending(cut));
}

TEST_F(DumpAndResume, ALineThatIsTooLongIsPassedOverAndTheNextOneIsRead)
{
    const CString path = Write(L"a.txt");
    WriteDump(std::wstring(100000, L'x') + L"\n" + std::wstring(path) + L"\n");
    watcher.Resume();
    EXPECT_TRUE(Pending(path));
}

TEST_F(DumpAndResume, AReplayedFileThatIsGoneAndIndexedBecomesADeletion)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    DeleteFileW(path);
    WriteDump(std::wstring(path) + L"\n");
    watcher.Resume();
    ASSERT_TRUE(Pending(path));
    EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted);
}

TEST_F(DumpAndResume, AReplayedFileOnADriveThatIsAwayGoesOnWaiting)
{
    Select(Item(L"path=\"Y:\\docs\" type=\"1\" includeSub=\"1\""));
    WriteDump(L"Y:\\docs\\a.txt\n");
    watcher.Resume();
    EXPECT_TRUE(Pending(L"Y:\\docs\\a.txt"));
}

TEST_F(DumpAndResume, AReplayedFileIsNotJudgedByTheFileOfAnotherVolume)
{
    const CString path = Write(L"a.txt");
    Record(path); // as the other volume's file is, and would be unchanged
    WriteDump(std::wstring(path) + L"\n");
    struct Volume {
        std::int32_t serial;
    };
    Parts().selection.volumes.Follow(std::map<CString, Volume>{{OrbFilter::StripToRoot(path), {0x7777}}});
    watcher.Resume();
    EXPECT_TRUE(Pending(path));
}

TEST_F(DumpAndResume, ReplayedDirectoriesAreNotExpanded)
{
    Write(L"sub\\f.txt");
    WriteDump(std::wstring(InTree(L"sub\\")) + L"\n");
    watcher.Resume();
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
}

TEST_F(DumpAndResume, ADumpThatCannotBeOpenedLogsNothingMoreAndMakesAFullEnumerationDue)
{
    GetServiceRunSettings().Load();
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 12345);
    GetServiceRunSettings().Save();
    Handler().OnFileAdded(Write(L"a.txt"));
    CreateDirectoryW(DumpFilePath(), nullptr);
    watcher.DeInit();
    EXPECT_TRUE(log.Has(L"Dumping 1 files to disk"));
    EXPECT_FALSE(log.Has(L"Watcher dump completed."));
    EXPECT_EQ(CompletionTime(), 0);
}

TEST_F(DumpAndResume, AReplayThatIsStoppedInTheMiddleIsBrokenOff)
{
    WriteDump(L"C:\\first\nC:\\second\nC:\\third\n");
    int lines = 0;
    const DumpRead result = ReadDump(DumpFilePath(), [&] { return lines == 2; }, [&](const CString&) { ++lines; });
    EXPECT_EQ(result, DumpRead::Broken);
    EXPECT_EQ(lines, 2);
}

TEST_F(DumpAndResume, ADumpWaitsUntilTheSelectionCanBeRead)
{
    const CString path = Write(L"a.txt");
    WriteDump(std::wstring(path) + L"\n");
    const std::string selection = folder.ReadBytes(L"data.xml");
    folder.WriteBytes(L"data.xml", "<Data><Item");
    SelectAgain();
    Parts().selection.primary.ClearAll();
    watcher.Resume();
    EXPECT_TRUE(DumpExists());
    folder.WriteBytes(L"data.xml", selection);
    watcher.Resume();
    EXPECT_TRUE(Pending(path));
    EXPECT_FALSE(DumpExists());
}

BOOL WINAPI ReadNothing(HANDLE, void*, DWORD, DWORD*, OVERLAPPED*)
{
    SetLastError(ERROR_CRC);
    return FALSE;
}

TEST_F(DumpAndResume, ADumpThatCannotBeReadIsKept)
{
    WriteDump(std::wstring(Write(L"a.txt")) + L"\n");
    {
        const ImportedCall reading(nullptr, "ReadFile", ReadNothing);
        watcher.Resume();
    }
    EXPECT_TRUE(DumpExists());
}

TEST_F(DumpAndResume, AFolderWith260UnitsIsCarriedOver)
{
    const CString path = InTree(L"") + CString(L'x', 260 - InTree(L"").GetLength());
    ASSERT_TRUE(CreateDirectoryW(SystemPath(path), nullptr));
    Handler().OnFileAdded(path);
    ASSERT_TRUE(Pending(path + L"\\"));
    watcher.DeInit();
    SelectAgain();
    watcher.Resume();
    EXPECT_TRUE(Pending(path + L"\\"));
    EXPECT_TRUE(RemoveDirectoryW(SystemPath(path)));
}

TEST_F(DumpAndResume, AReplayedFileThatIsGoneMakesAFullEnumerationDueWithoutTheIndex)
{
    CIndexDB::ClearCache();
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 12345);
    GetServiceRunSettings().Save();
    WriteDump(std::wstring(InTree(L"gone.txt")) + L"\n");
    watcher.Resume();
    EXPECT_FALSE(DumpExists());
    EXPECT_EQ(CompletionTime(), 0);
}

TEST_F(DumpAndResume, ADeletionWhereSomethingElseIsNowMakesAFullEnumerationDue)
{
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 12345);
    GetServiceRunSettings().Save();
    auto notification = std::make_shared<Notification>();
    notification->kind = NotificationKind::Deleted;
    const CString path = Write(L"once a folder");
    {
        Parts().pending.Put(path, notification);
    }
    watcher.DeInit();
    EXPECT_EQ(CompletionTime(), 0);
}

TEST_F(DumpAndResume, ADumpIsAcceptedAsTheOrderlyEndLeftIt)
{
    LeaveOne();
    watcher.Resume();
    EXPECT_TRUE(Pending(InTree(L"a.txt")));
    EXPECT_EQ(CompletionTime(), 12345);
}

TEST_F(DumpAndResume, ADumpThatIsMissingShorterLongerOrOtherMakesAFullEnumerationDue)
{
    for (const wchar_t* how : {L"it is missing", L"it is shorter", L"it is longer", L"it was changed"}) {
        const std::string bytes = LeaveOne();
        if (how == std::wstring(L"it is missing"))
            DeleteFileW(DumpFilePath());
        else if (how == std::wstring(L"it is shorter"))
            WriteDump(L"");
        else if (how == std::wstring(L"it is longer"))
            folder.WriteBytes(L"data\\watcher_dump.bin", bytes + bytes);
        else
            folder.WriteBytes(L"data\\watcher_dump.bin", std::string(bytes.size() - 2, 'x') + Bytes(L"\n"));
        watcher.Resume();
        EXPECT_EQ(CompletionTime(), 0) << Narrow(how);
        EXPECT_TRUE(LogSays(how)) << Narrow(how);
        watcher.Resume(); // this dump is used up
        SetCompletionTime(12345);
        watcher.Resume();
        EXPECT_EQ(CompletionTime(), 12345) << Narrow(how);
    }
}

TEST_F(DumpAndResume, AFolderInThePlaceOfTheDumpIsPutAsideAndMakesAFullEnumerationDue)
{
    LeaveOne();
    ASSERT_TRUE(DeleteFileW(DumpFilePath()) && CreateDirectoryW(DumpFilePath(), nullptr));
    watcher.Resume();
    EXPECT_EQ(CompletionTime(), 0);
    EXPECT_TRUE(LogSays(L"a folder stands in its place"));
    EXPECT_FALSE(DumpExists());
    SetCompletionTime(12345);
    watcher.Resume();
    EXPECT_EQ(CompletionTime(), 12345);
}

TEST_F(DumpAndResume, ADumpThatWasPutThereAfterAnEndWithoutOneMakesAFullEnumerationDue)
{
    watcher.DeInit();
    SetCompletionTime(12345);
    WriteDump(std::wstring(Write(L"a.txt")) + L"\n");
    SelectAgain();
    watcher.Resume();
    EXPECT_EQ(CompletionTime(), 0);
}

TEST_F(DumpAndResume, AnOlderDumpWithoutANoteIsAcceptedWhenItEndsProperly)
{
    SetCompletionTime(12345);
    const std::wstring path(Write(L"a.txt"));
    WriteDump(path + L"\n");
    watcher.Resume();
    EXPECT_TRUE(Pending(path.c_str()));
    EXPECT_EQ(CompletionTime(), 12345);
}

TEST_F(DumpAndResume, AnOlderDumpWithoutANoteThatIsCutMakesAFullEnumerationDue)
{
    const std::wstring path(Write(L"a.txt"));
    for (const std::string& bytes : {Bytes(path + L"\n" + path), Bytes(path + L"\n") + "x", std::string()}) {
        SetCompletionTime(12345);
        folder.WriteBytes(L"data\\ServiceRunSettings.json", R"({"Backup": {"FirstTimeRunTime": 12345}})");
        folder.WriteBytes(L"data\\watcher_dump.bin", bytes);
        watcher.Resume();
        EXPECT_EQ(CompletionTime(), 0) << bytes.size();
    }
}

TEST_F(DumpAndResume, DamageOfADumpThatWasNotReplayedIsNoticedBeforeMoreIsAddedToIt)
{
    const std::string bytes = LeaveOne();
    folder.WriteBytes(L"data\\watcher_dump.bin", bytes.substr(0, bytes.size() - 2));
    ASSERT_TRUE(watcher.LoadSelection());
    Handler().OnFileAdded(Write(L"b.txt"));
    watcher.DeInit();
    EXPECT_EQ(CompletionTime(), 0);
}

TEST_F(DumpAndResume, ANoteThatCannotBeWrittenMakesTheNextStartLookAtEverything)
{
    Parts().due.BeginRun();
    Handler().OnFileAdded(Write(L"a.txt"));
    const CString settings = folder.Path(L"data\\ServiceRunSettings.json");
    SetCompletionTime(12345);
    ASSERT_TRUE(SetFileAttributesW(settings, FILE_ATTRIBUTE_READONLY));
    watcher.DeInit();
    ASSERT_TRUE(SetFileAttributesW(settings, FILE_ATTRIBUTE_NORMAL));
    SelectAgain();
    watcher.Resume();
    EXPECT_EQ(CompletionTime(), 0);
}

TEST_F(DumpAndResume, WhetherEverythingWasKeptIsKnownAfterwards)
{
    Handler().OnFileAdded(Write(L"a.txt"));
    std::filesystem::create_directories(DumpFilePath().GetString());
    watcher.DeInit();
    EXPECT_FALSE(watcher.IsPendingKept());
    watcher.DeInit();
    EXPECT_TRUE(watcher.IsPendingKept()); // nothing was pending any more
}

} // namespace

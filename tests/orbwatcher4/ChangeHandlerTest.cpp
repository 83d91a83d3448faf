// The rules by which events become pending changes, on real files.
#include "companions/online/OnlineCallbackHandler.h"
#include "companions/settings/OrbSettings.h"
#include "support/Hashes.h"
#include "support/SystemPath.h"
#include "tests/orbwatcher4/AttributeQuestions.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class Changes : public WatcherFixture
{
protected:
    Changes() { SelectTree(); }

    NotificationKind KindOf(const CString& path)
    {
        const NotificationPtr pending = Pending(path);
        EXPECT_TRUE(pending) << Narrow(path.View());
        return pending ? pending->kind : NotificationKind(-1);
    }
    bool DeletionsAreRequested()
    {
        const KernelHandle event(OpenEventW(SYNCHRONIZE, FALSE, L"F214AB94-4789-451a-ADDC-981BBFE6B59B"));
        return IsSignalled(event.Get());
    }
    // A file that is backed up in a former version, and is gone now.
    CString DeletedIndexedFile(const wchar_t* name)
    {
        const CString path = Write(name);
        RecordWithTime(path, 1);
        DeleteFileW(path);
        Handler().OnFileRemoved(path);
        return path;
    }
};

TEST_F(Changes, AnAddedFileBecomesAPendingAdditionWithoutATimeStamp)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Added);
    EXPECT_EQ(Pending(path)->timeStamp, 0u);
}

TEST_F(Changes, AModifiedFileBecomesAPendingModification)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileModified(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Modified);
}

TEST_F(Changes, APendingAdditionIsKeptUnchangedByAModification)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    const NotificationPtr before = Pending(path);
    Handler().OnFileModified(path);
    EXPECT_EQ(Pending(path), before);
}

TEST_F(Changes, AFileOutsideTheSelectionLeavesNothing)
{
    folder.WriteBytes(L"elsewhere.txt", "x");
    Handler().OnFileAdded(folder.Path(L"elsewhere.txt"));
    Handler().OnFileModified(folder.Path(L"elsewhere.txt"));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Changes, ADirectoryIsStoredUnderItsPathWithABackslash)
{
    const CString path = MakeFolder(L"sub");
    Handler().OnFileModified(path);
    EXPECT_FALSE(Pending(path));
    EXPECT_TRUE(Pending(path + L"\\"));
}

TEST_F(Changes, ANewDirectoryAddsItsWholeSubtree)
{
    const CString file = Write(L"new\\deep\\deeper\\f.txt");
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_TRUE(Pending(InTree(L"new\\")));
    EXPECT_TRUE(Pending(InTree(L"new\\deep\\deeper\\")));
    EXPECT_TRUE(Pending(file));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 4);
}

TEST_F(Changes, AddSingleNotificationDoesNotExpandADirectory)
{
    Write(L"new\\f.txt");
    EXPECT_TRUE(watcher.AddSingleNotification(InTree(L"new")));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
}

TEST_F(Changes, ARemovedFileThatTheIndexDoesNotKnowCreatesNothing)
{
    Index();
    Handler().OnFileRemoved(InTree(L"never.txt"));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
    EXPECT_FALSE(DeletionsAreRequested());
}

TEST_F(Changes, AFileThatCameAndWentBeforeABackupLeavesNothing)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Changes, AFolderThatCameAndWentBeforeABackupLeavesNothing)
{
    const CString path = MakeFolder(L"sub");
    Handler().OnFileAdded(path);
    RemoveDirectoryW(path);
    Handler().OnFileRemoved(path);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Changes, ARemovedFileThatTheIndexHoldsLeavesADeletionWithItsTimeAndRequestsProcessing)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    Handler().OnFileModified(path);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Deleted);
    EXPECT_EQ(Pending(path)->timeStamp, clock.FileTime());
    EXPECT_TRUE(DeletionsAreRequested());
}

TEST_F(Changes, ADeletionFindsTheIndexedItemWhateverCaseTheEventHas)
{
    const CString path = Write(L"Ärger.txt");
    RecordWithTime(path, 1);
    DeleteFileW(path);
    Handler().OnFileRemoved(InTree(L"äRGER.TXT"));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
}

TEST_F(Changes, AnItemMarkedWith0x40InTheIndexLeavesNoDeletion)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1, 0x40);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    EXPECT_FALSE(Pending(path));
}

TEST_F(Changes, TheRemovalOfAnIndexedFileIsRecordedAlsoWhereAnAdditionOfItWaits)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    Handler().OnFileAdded(path);
    ASSERT_EQ(KindOf(path), NotificationKind::Added);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Deleted);
    EXPECT_TRUE(DeletionsAreRequested());
}

TEST_F(Changes, TheRemovalOfAFolderThatTheIndexDoesNotHoldIsRecordedForWhatItHoldsInIt)
{
    RecordWithTime(InTree(L"d\\E\\f.txt"), 1);
    Handler().OnFileRemoved(InTree(L"D"));
    EXPECT_EQ(KindOf(InTree(L"d")), NotificationKind::Deleted);
    Handler().OnFileRemoved(InTree(L"d\\e\\f"));
    EXPECT_FALSE(Pending(InTree(L"d\\e\\f")));
}

TEST_F(Changes, TheRemovalOfAFolderAboveTheSelectionIsRecorded)
{
    Select(Item(L"path=\"" + std::wstring(InTree(L"above\\selected")) + L"\" type=\"1\" includeSub=\"1\""));
    RecordWithTime(InTree(L"above\\selected\\f.txt"), 1);
    Handler().OnFileRemoved(InTree(L"above"));
    EXPECT_EQ(KindOf(InTree(L"above")), NotificationKind::Deleted);
}

TEST_F(Changes, AFolderInThePlaceOfARemovedOneLeavesTheDeletionOfWhatWasInThat)
{
    RecordWithTime(InTree(L"d\\f.txt"), 1);
    Handler().OnFileRemoved(InTree(L"d"));
    MakeFolder(L"d");
    Handler().OnFileRemoved(InTree(L"d")); // the folder came back before its removal was told
    Handler().OnFileAdded(InTree(L"d"));
    EXPECT_EQ(KindOf(InTree(L"d")), NotificationKind::Deleted);
    Handler().OnFileModified(InTree(L"d"));
    EXPECT_EQ(KindOf(InTree(L"d")), NotificationKind::Deleted);
}

TEST_F(Changes, AFileInThePlaceOfARemovedFolderLeavesTheDeletionOfWhatWasInThat)
{
    RecordWithTime(InTree(L"d\\f.txt"), 1);
    Handler().OnFileRemoved(InTree(L"d"));
    Handler().OnFileAdded(Write(L"d"));
    EXPECT_TRUE(PendingBelow(InTree(L"d")));
    EXPECT_EQ(KindOf(InTree(L"d")), NotificationKind::Modified);
}

TEST_F(Changes, AnUnreachablePathKeepsTheDeletionThatIsPendingForIt)
{
    const CString path = DeletedIndexedFile(L"a.txt");
    Handler().KeepUnreachable(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Deleted);
    Handler().KeepUnreachable(InTree(L"b.txt"));
    EXPECT_EQ(KindOf(InTree(L"b.txt")), NotificationKind::Added);
}

TEST_F(Changes, AFileThatReturnsWithinTwoSecondsOfItsDeletionEndsAsOneModification)
{
    const CString path = DeletedIndexedFile(L"a.txt");
    clock.Advance(2);
    Write(L"a.txt", "saved again");
    Handler().OnFileAdded(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Modified);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
}

TEST_F(Changes, AFileThatReturnsLaterEndsAsANewAdditionInsteadOfTheDeletion)
{
    const CString path = DeletedIndexedFile(L"a.txt");
    clock.Advance(3);
    Write(L"a.txt", "saved again");
    Handler().OnFileAdded(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Added);
    EXPECT_EQ(Pending(path)->timeStamp, 0u);
}

TEST_F(Changes, AModificationReplacesAPendingDeletion)
{
    const CString path = DeletedIndexedFile(L"a.txt");
    Write(L"a.txt", "back");
    Handler().OnFileModified(path);
    EXPECT_EQ(KindOf(path), NotificationKind::Modified);
}

TEST_F(Changes, ARenameIsARemovalOfTheOldAndAnAdditionOfTheNewNameWithExpansion)
{
    Write(L"old\\f.txt");
    Handler().OnFileAdded(InTree(L"old\\f.txt"));
    MoveFileW(InTree(L"old"), InTree(L"new"));
    Handler().OnFileNameChanged(InTree(L"old"), InTree(L"new"));
    EXPECT_TRUE(Pending(InTree(L"new\\")));
    EXPECT_TRUE(Pending(InTree(L"new\\f.txt")));
}

TEST_F(Changes, AHiddenFileIsSkippedWithALogOnTheAddedPathAndWithoutOneOnTheModifiedPath)
{
    const CString path = Write(L"hidden.txt");
    SetFileAttributesW(path, FILE_ATTRIBUTE_HIDDEN);
    Handler().OnFileModified(path);
    const std::wstring message = L"File: " + std::wstring(path) + L" is Hidden and will be skipped";
    EXPECT_FALSE(log.Has(message));
    Handler().OnFileAdded(path);
    EXPECT_EQ(log.Count(message), 1);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Changes, AHiddenFileIsTakenWhenHiddenFilesAreBackedUp)
{
    watcher.EnableBackupHiddenFiles(true);
    const CString path = Write(L"hidden.txt");
    SetFileAttributesW(path, FILE_ATTRIBUTE_HIDDEN);
    Handler().OnFileAdded(path);
    EXPECT_TRUE(Pending(path));
}

TEST_F(Changes, AHiddenFileIsTakenWhenItsRuleAllowsIt)
{
    Select(Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" flags=\"16384\""));
    const CString path = Write(L"hidden.txt");
    SetFileAttributesW(path, FILE_ATTRIBUTE_HIDDEN);
    Handler().OnFileModified(path);
    EXPECT_TRUE(Pending(path));
}

TEST_F(Changes, AVanishedFileCountsAsHidden)
{
    Handler().OnFileAdded(InTree(L"gone.txt"));
    EXPECT_FALSE(Pending(InTree(L"gone.txt")));
    EXPECT_TRUE(log.Has(L"File: " + std::wstring(InTree(L"gone.txt")) + L" is Hidden and will be skipped"));
}

// Paths that the plain interface cannot name.
bool MakeFile(const CString& path)
{
    return static_cast<bool>(FileHandle(
        CreateFileW(SystemPath(path), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

TEST_F(Changes, PathsOf260UnitsAreTakenAndLongerOnesAreDropped)
{
    for (const int length : {259, 260, 261}) {
        const CString path = InTree(L"") + CString(L'x', length - InTree(L"").GetLength());
        ASSERT_EQ(path.GetLength(), length);
        ASSERT_TRUE(MakeFile(path));
        Handler().OnFileAdded(path);
        EXPECT_EQ(Pending(path) != nullptr, length <= 260) << length;
    }
    EXPECT_EQ(Drain().size(), 2u);
}

TEST_F(Changes, NamesThatEndInDotsAndSpacesAndThoseWithSurrogatesAreTakenAsTheyAre)
{
    const std::wstring names[] = {L"dot.", L"dots...", L"space ", L"both. ", L"tilde~.", L"pair \U0001F600"};
    for (const std::wstring& name : names) {
        ASSERT_TRUE(MakeFile(InTree(name))) << Narrow(name);
        Handler().OnFileAdded(InTree(name));
    }
    const CString inside = InTree(L"folder. ") + L"\\in. ";
    ASSERT_TRUE(CreateDirectoryW(SystemPath(InTree(L"folder. ")), nullptr));
    ASSERT_TRUE(MakeFile(inside));
    Handler().OnFileAdded(InTree(L"folder. "));
    EXPECT_TRUE(Pending(inside));
    QueueDatum datum;
    std::set<std::wstring> came;
    while (watcher.GetSingleNotification(nullptr, datum)) {
        came.insert(datum.path);
        EXPECT_GT(datum.modificationTime, 0) << Narrow(datum.path);
    }
    EXPECT_EQ(came.size(), std::size(names) + 2);
    for (const std::wstring& path : came) // what removes the test's folder cannot name them
        EXPECT_TRUE(path.ends_with(L'\\') || DeleteFileW(SystemPath(path.c_str()))) << Narrow(path);
    EXPECT_TRUE(RemoveDirectoryW(SystemPath(InTree(L"folder. "))));
}

TEST_F(Changes, AShortNameThatCannotBeMadeLongIsDropped)
{
    watcher.EnableBackupHiddenFiles(true);
    Handler().OnFileAdded(InTree(L"NOTHER~1.TXT"));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Changes, AnUnchangedIndexedFileIsADuplicateAndDropsWhatWasPending)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    Record(path);
    Handler().OnFileModified(path);
    EXPECT_FALSE(Pending(path));
}

TEST_F(Changes, AnIndexedFileMarkedWith0x40IsNoDuplicate)
{
    const CString path = Write(L"a.txt");
    Record(path, 0x40);
    Handler().OnFileAdded(path);
    EXPECT_TRUE(Pending(path));
}

TEST_F(Changes, ADirectoryInTheIndexIsADuplicate)
{
    const CString path = MakeFolder(L"sub");
    RecordWithTime(path, 1);
    Handler().OnFileModified(path);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Changes, ADelayedFileIsADuplicateUntilItsTime)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1, 0, clock.Seconds() + 10);
    Handler().OnFileModified(path);
    EXPECT_FALSE(Pending(path));
    clock.Advance(10);
    Handler().OnFileModified(path);
    EXPECT_TRUE(Pending(path));
}

TEST_F(Changes, AnIndexedFileThatWasUploadedAsItIsIsADuplicate)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    std::uint64_t modified = 0;
    ASSERT_TRUE(GetFileTimes(path, false, nullptr, &modified));
    Parts().config.online->AddUploaded(path, modified);
    Handler().OnFileModified(path);
    EXPECT_FALSE(Pending(path));
    EXPECT_TRUE(log.Has(L"Skipping duplicate notification for file " + std::wstring(path) + L"."));
}

TEST_F(Changes, AnAdvancedRegularExpressionDropsAPendingDirectory)
{
    const CString path = MakeFolder(L"sub");
    Handler().OnFileAdded(path);
    ASSERT_TRUE(Pending(path + L"\\"));
    watcher.SetAdvancedFiltersPath(WriteRules(
        L"advanced.xml", Item(L"path=\"$$ALLPATHS$$\" type=\"1\" isregex=\"1\" mask=\"tmp\" exclude=\"1\"")));
    ASSERT_TRUE(watcher.LoadSelection());
    Write(L"sub\\f.txt");
    Handler().OnFileAdded(path);
    EXPECT_FALSE(Pending(path + L"\\"));
    EXPECT_TRUE(Pending(InTree(L"sub\\f.txt"))); // expansion comes before the drop
}

TEST_F(Changes, RulesOfTheSecondarySelectionGoAlongWhenAddingAndStandAloneWhenRemoving)
{
    const std::wstring attributes = L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" ";
    watcher.SetSecondaryXMLFile(WriteRules(L"second.xml", Item(attributes + L"pluginName=\"Second\" pluginId=\"2\"")),
                                nullptr);
    Select(Item(attributes + L"pluginName=\"First\" pluginId=\"1\""));
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    Handler().OnFileModified(path);
    ASSERT_TRUE(Pending(path));
    EXPECT_STREQ(Pending(path)->firstText, L"First:Second");
    EXPECT_STREQ(Pending(path)->secondText, L"1:2");
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    ASSERT_TRUE(Pending(path));
    EXPECT_STREQ(Pending(path)->firstText, L"Second");
}

TEST_F(Changes, AnAddedFileOfTheListWakesTheInstantRunAndItsFolderNeedNot)
{
    const KernelHandle event(CreateEventW(nullptr, FALSE, FALSE,
                                          GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_ONLINE_INSTANT_RUN")));
    watcher.SetInstantRunExt(L"*.doc;*.XLS");
    Handler().OnFileAdded(Write(L"plain.txt"));
    EXPECT_FALSE(IsSignalled(event.Get()));
    Write(L"new\\Table.xls");
    watcher.AddSingleNotification(InTree(L"new\\Table.xls"));
    EXPECT_FALSE(IsSignalled(event.Get()));
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_TRUE(IsSignalled(event.Get()));
}

TEST_F(Changes, TheInstantRunsEventOutlivesWhoeverMadeIt)
{
    const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_ONLINE_INSTANT_RUN");
    {
        const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, name));
        watcher.SignalInstantRunEvent();
    }
    const KernelHandle later(OpenEventW(SYNCHRONIZE, FALSE, name));
    ASSERT_TRUE(static_cast<bool>(later));
    EXPECT_TRUE(IsSignalled(later.Get()));
}

TEST_F(Changes, AnInstantRunThatNobodyWaitsForIsLogged)
{
    watcher.SignalInstantRunEvent();
    bool found = false;
    for (const LogCapture::Line& line : log.Lines())
        found = found || (line.text == L"Failed to open Instant run event" && line.level == LogLevel::Error &&
                          line.source == L"OrbWatcher" && line.sourceLine == 2698);
    EXPECT_TRUE(found);
}

TEST_F(Changes, LostChangesMarkTheRootOnce)
{
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"C:\\");
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"c:\\");
    EXPECT_TRUE(Parts().due.Rescans().Find(L"c:\\"));
}

TEST_F(Changes, AStopDuringAnExpansionMakesTheNextFullEnumerationDue)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    settings.SetValue(L"Backup::FirstTimeRunTime", 12345);
    settings.Save();
    Write(L"new\\f.txt");
    Parts().stop.SetEvent();
    Handler().OnFileAdded(InTree(L"new"));
    Parts().stop.ResetEvent();
    EXPECT_FALSE(Pending(InTree(L"new\\f.txt")));
    settings.Load();
    EXPECT_EQ(settings.GetValue(L"Backup::FirstTimeRunTime", -1), 0);
}

TEST_F(Changes, AnotherEventOfAPendingNewFileAsksTheDiskNothing)
{
    const CString file = Write(L"a.txt");
    Handler().OnFileAdded(file);
    const NotificationPtr pending = Parts().pending.Find(file);
    ASSERT_TRUE(pending);
    const AttributeQuestions questions(L"a.txt");
    Handler().OnFileModified(file);
    EXPECT_EQ(questions.Asked(), 0);
    EXPECT_EQ(Parts().pending.Find(file), pending);
}

} // namespace

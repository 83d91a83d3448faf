// Configuration and state of the facade.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <aclapi.h>

#include <thread>

namespace
{

class Facade : public WatcherFixture
{
};

TEST_F(Facade, ADataPathThatDoesNotExistLeavesTheOldOne)
{
    const CString data = WriteRules(L"data.xml", "");
    watcher.SetDataXmlPath(data);
    watcher.SetDataXmlPath(folder.Path(L"missing.xml"));
    watcher.SetDataXmlPath(L"");
    EXPECT_EQ(Parts().config.files.data, data);
}

TEST_F(Facade, AnAdvancedPathThatDoesNotExistLeavesTheOldOne)
{
    const CString advanced = WriteRules(L"advanced.xml", "");
    watcher.SetAdvancedFiltersPath(advanced);
    watcher.SetAdvancedFiltersPath(folder.Path(L"missing.xml"));
    EXPECT_EQ(Parts().config.files.advanced, advanced);
}

TEST_F(Facade, SetDataXMLFilesEmptiesTheSecondAndTheAdvancedPathWhenTheyDoNotExist)
{
    const CString file = WriteRules(L"file.xml", "");
    watcher.SetDataXMLFiles(L"X:\\not there.xml", file, file);
    EXPECT_STREQ(Parts().config.files.data, L"X:\\not there.xml"); // taken without a look
    EXPECT_EQ(Parts().config.files.autoExclude, file);
    watcher.SetDataXMLFiles(L"", folder.Path(L"missing.xml"), folder.Path(L"missing.xml"));
    EXPECT_STREQ(Parts().config.files.data, L"X:\\not there.xml");
    EXPECT_TRUE(Parts().config.files.autoExclude.IsEmpty());
    EXPECT_TRUE(Parts().config.files.advanced.IsEmpty());
}

TEST_F(Facade, SetSecondaryXMLFileTakesTheFirstUnseenAndTheSecondOnlyWhenItExists)
{
    watcher.SetSecondaryXMLFile(L"X:\\a.xml", L"X:\\b.xml");
    EXPECT_STREQ(Parts().config.files.secondary, L"X:\\a.xml");
    EXPECT_TRUE(Parts().config.files.secondaryAutoExclude.IsEmpty());
    watcher.SetSecondaryXMLFile(L"", nullptr);
    EXPECT_TRUE(Parts().config.files.secondary.IsEmpty());
}

TEST_F(Facade, InitKeepsTheSecondaryPathsTheAdvancedPathAndTheExtensionLists)
{
    const CString file = WriteRules(L"file.xml", "");
    watcher.SetDataXMLFiles(file, file, file);
    watcher.SetSecondaryXMLFile(file, file);
    watcher.SetQueueDB(L"q");
    watcher.SetIndexDB(L"i");
    watcher.SetDestBackupFolderDB(L"d");
    watcher.SetInstantRunExt(L"*.DOC");
    watcher.SetBlockLevelExt(L"*.PST");
    watcher.SetFirstTimeWatcherHide(1);
    watcher.Init();
    for (const CString* path : {&Parts().config.files.data, &Parts().config.files.autoExclude,
                                &Parts().config.queueDatabase, &Parts().config.indexDatabase})
        EXPECT_TRUE(path->IsEmpty());
    EXPECT_TRUE(Parts().selection.Destination().IsEmpty());
    EXPECT_EQ(Parts().config.files.secondary, file);
    EXPECT_EQ(Parts().config.files.secondaryAutoExclude, file);
    EXPECT_EQ(Parts().config.files.advanced, file);
    EXPECT_STREQ(Parts().config.instantRunNames, L"*.doc");
    EXPECT_STREQ(Parts().config.blockLevelNames, L"*.pst");
    EXPECT_EQ(WatcherAccess::Hidden(watcher), 0);
    EXPECT_EQ(watcher.IsInitilized(), 1);
}

TEST_F(Facade, ANullInstantRunListLeavesTheOldOne)
{
    watcher.SetInstantRunExt(L"*.doc");
    watcher.SetInstantRunExt(nullptr);
    EXPECT_STREQ(Parts().config.instantRunNames, L"*.doc");
}

TEST_F(Facade, SpeedModesZeroAndTwoTakeTheThrottleAwayAndAllOthersSetThreeMilliseconds)
{
    const int modes[] = {1, 0, 3, 2, 77};
    const DWORD throttles[] = {3, 0, 3, 0, 3};
    for (int i = 0; i < 5; ++i) {
        watcher.UpdateThreadsPriority(static_cast<CPUSpeedMode>(modes[i]));
        EXPECT_EQ(WatcherAccess::Pause(watcher), throttles[i]) << modes[i];
    }
}

TEST_F(Facade, AHiddenFirstTimeRunReportsThatNoneIsRunning)
{
    WatcherAccess::SetRunning(watcher, true);
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 1);
    watcher.SetFirstTimeWatcherHide(1);
    EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 0);
    WatcherAccess::SetRunning(watcher, false);
}

TEST_F(Facade, SettingTheOverlayIsLogged)
{
    watcher.SetOverlay(true);
    EXPECT_TRUE(log.Has(L"Overlay : 1"));
    watcher.SetOverlay(false);
    EXPECT_TRUE(log.Has(L"Overlay : 0"));
}

TEST_F(Facade, ABackupIsRunningAsLongAsTheServicesMutexExists)
{
    EXPECT_EQ(COrbWatcher::IsBackupRunning(), 0);
    {
        const KernelHandle mutex(
            CreateMutexW(nullptr, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START")));
        EXPECT_EQ(COrbWatcher::IsBackupRunning(), 1);
    }
    EXPECT_EQ(COrbWatcher::IsBackupRunning(), 0);
}

TEST_F(Facade, TheDriveUpdateEventIsManualResetAndStartsSet)
{
    const KernelHandle event(OpenEventW(SYNCHRONIZE, FALSE, L"9D86C4E4-CF9D-49BC-B07E-5CDE45FF0083"));
    ASSERT_TRUE(event);
    EXPECT_TRUE(IsSignalled(event.Get()));
    EXPECT_TRUE(IsSignalled(event.Get()));
}

TEST_F(Facade, TheDeletedFilesEventIsAutoResetAndStartsNotSet)
{
    const KernelHandle event(
        OpenEventW(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, L"F214AB94-4789-451a-ADDC-981BBFE6B59B"));
    ASSERT_TRUE(event);
    EXPECT_FALSE(IsSignalled(event.Get()));
    SetEvent(event.Get());
    EXPECT_TRUE(IsSignalled(event.Get()));
    EXPECT_FALSE(IsSignalled(event.Get()));
}

// A shared event of an earlier process may live on; one of a name of the test's own shows what they are made with.
TEST_F(Facade, SharedEventsAreOpenToEveryAccount)
{
    const KernelHandle event = CreateSharedEvent(L"orbwatcher4-test-shared-event", true, false);
    PACL list = reinterpret_cast<PACL>(1);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetSecurityInfo(event.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                              nullptr, &descriptor),
              static_cast<DWORD>(ERROR_SUCCESS));
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    EXPECT_TRUE(GetSecurityDescriptorControl(descriptor, &control, &revision));
    EXPECT_TRUE(control & SE_DACL_PRESENT);
    EXPECT_EQ(list, nullptr);
    LocalFree(descriptor);
}

TEST_F(Facade, ProgressStopsOnceTheStopSignalIsSet)
{
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    EXPECT_TRUE(Parts().enumerator.Found().GoOn());
    Parts().stop.SetEvent();
    EXPECT_FALSE(Parts().enumerator.Found().GoOn());
    Parts().stop.ResetEvent();
    bool found = false;
    for (const LogCapture::Line& line : log.Lines())
        found = found || (line.text == L"Used Aborted, stop enumeration" && line.level == LogLevel::Abort &&
                          line.source == L"OrbWatcher" && line.sourceLine == 2198);
    EXPECT_TRUE(found);
}

TEST_F(Facade, TotalItemsAreTheRawDistanceOfTheStoresTwoWordsAndZeroWithoutAStore)
{
    OrbFilter filter;
    EXPECT_EQ(filter.GetTotalItems(), 0u);
    ItemCounters counters;
    counters.begin = 0x1000;
    counters.end = 0x1000 + 3 * 24;
    filter.SetNotificationStore(&counters);
    EXPECT_EQ(filter.GetTotalItems(), 72u);
    filter.SetNotificationStore(nullptr);
    EXPECT_EQ(filter.GetTotalItems(), 0u);
}

} // namespace

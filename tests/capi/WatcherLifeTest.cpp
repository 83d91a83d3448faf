// A watcher is made, started, stopped and destroyed, in every order.
#include "tests/capi/CapiTest.h"

#include <fstream>

namespace
{

class WatcherLife : public CapiTest
{
protected:
    void ExpectNotWatching()
    {
        auto file = Sized<OrbPendingFile>();
        auto progress = Sized<OrbEnumerationProgress>();
        int64_t count = 0;
        EXPECT_EQ(OrbPendingTake(watcher.get(), &file), ORB_WRONG_STATE);
        EXPECT_EQ(LastFailure(), L"the watcher is not watching");
        EXPECT_EQ(OrbPendingPutBack(watcher.get(), InTree(L"a").c_str()), ORB_WRONG_STATE);
        EXPECT_EQ(OrbPendingCount(watcher.get(), &count), ORB_WRONG_STATE);
        EXPECT_EQ(OrbWatcherWaitReady(watcher.get(), Longest), ORB_WRONG_STATE);
        EXPECT_EQ(OrbWatcherRoots(watcher.get(), nullptr, 0, nullptr), ORB_WRONG_STATE);
        EXPECT_EQ(OrbWatcherStop(watcher.get()), ORB_WRONG_STATE);
        EXPECT_EQ(OrbEnumerationStart(watcher.get()), ORB_WRONG_STATE);
        EXPECT_EQ(OrbEnumerationGetProgress(watcher.get(), &progress), ORB_WRONG_STATE);
        EXPECT_EQ(OrbEnumerationWait(watcher.get(), Longest), ORB_WRONG_STATE);
        EXPECT_EQ(OrbEnumerationNoteCompleted(watcher.get()), ORB_WRONG_STATE);
    }
    // A file that waits when the watcher is stopped.
    std::wstring LeavePending()
    {
        const std::wstring path = Write(L"left.txt");
        EXPECT_EQ(OrbPendingPutBack(watcher.get(), path.c_str()), ORB_OK);
        return path;
    }
    uint32_t Kept()
    {
        uint32_t kept = 2;
        EXPECT_EQ(OrbWatcherIsPendingKept(watcher.get(), &kept), ORB_OK);
        return kept;
    }
};

TEST_F(WatcherLife, AWatcherThatWasNotStartedRefusesWhatNeedsOneThatWatches)
{
    ASSERT_EQ(Create(Options()), ORB_OK);
    ExpectNotWatching();
    EXPECT_EQ(Kept(), 1u);
}

TEST_F(WatcherLife, AStoppedWatcherRefusesThemToo)
{
    Watch();
    ASSERT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    ExpectNotWatching();
}

TEST_F(WatcherLife, AWatcherThatWatchesCannotBeStartedAgain)
{
    Watch();
    EXPECT_EQ(OrbWatcherStart(watcher.get(), Longest), ORB_WRONG_STATE);
    EXPECT_EQ(LastFailure(), L"the watcher is watching already");
    EXPECT_EQ(OrbWatcherWaitReady(watcher.get(), Longest), ORB_OK);
    EXPECT_EQ(LastFailure(), L"");
}

TEST_F(WatcherLife, WhatWasPendingAtTheStopIsThereAfterTheNextStart)
{
    Watch();
    const std::wstring path = LeavePending();
    ASSERT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    EXPECT_EQ(Kept(), 1u);
    Start();
    EXPECT_TRUE(Receives(path));
}

TEST_F(WatcherLife, DestroyingAWatcherThatWatchesKeepsWhatIsPending)
{
    Watch();
    const std::wstring path = LeavePending();
    watcher.reset();
    ASSERT_EQ(Create(Options()), ORB_OK);
    Start();
    EXPECT_TRUE(Receives(path));
}

TEST_F(WatcherLife, AStopThatCannotKeepWhatIsPendingSaysSo)
{
    Watch();
    LeavePending();
    std::filesystem::create_directories(DumpPath()); // a folder in the file's place
    EXPECT_EQ(OrbWatcherStop(watcher.get()), ORB_PENDING_NOT_KEPT);
    EXPECT_EQ(Kept(), 0u);
    std::filesystem::remove_all(DumpPath());
    Start();
    EXPECT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    EXPECT_EQ(Kept(), 1u);
}

TEST_F(WatcherLife, SettingsThatAnotherAccountMayHavePlantedKeepAWatcherFromStarting)
{
    ASSERT_EQ(Create(Options()), ORB_OK);
    const std::filesystem::path settings =
        std::filesystem::path(DumpPath()).replace_filename("UserConfigurations.json");
    std::filesystem::create_directories(settings.parent_path());
    std::ofstream(settings) << "{}";
    const std::wstring second = Path(L"planted.json");
    ASSERT_TRUE(CreateHardLinkW(second.c_str(), settings.c_str(), nullptr));
    EXPECT_EQ(OrbWatcherStart(watcher.get(), Longest), ORB_NOT_TRUSTED);
    EXPECT_NE(LastFailure().find(L"UserConfigurations.json: the file has a second name"), std::wstring::npos);
    EXPECT_EQ(OrbWatcherStop(watcher.get()), ORB_WRONG_STATE);
    ASSERT_TRUE(DeleteFileW(second.c_str()));
    EXPECT_EQ(OrbWatcherStart(watcher.get(), Longest), ORB_OK);
    std::filesystem::remove(settings);
}

TEST_F(WatcherLife, AMissingFileOfRulesIsRefusedByItsName)
{
    const std::wstring missing = Path(L"missing.xml");
    const wchar_t* OrbWatcherOptions::* const fields[] = {
        &OrbWatcherOptions::selection, &OrbWatcherOptions::autoExclusions, &OrbWatcherOptions::advancedRules,
        &OrbWatcherOptions::secondaryRules};
    for (const auto field : fields) {
        OrbWatcherOptions options = Options();
        options.*field = missing.c_str();
        EXPECT_EQ(Create(options), ORB_SELECTION_UNREADABLE);
        EXPECT_NE(LastFailure().find(missing), std::wstring::npos);
        EXPECT_FALSE(watcher);
    }
}

TEST_F(WatcherLife, AMalformedSelectionIsRefusedWithTheReasonOfTheLog)
{
    folder.WriteBytes(L"selection.xml", "<Data><Item");
    EXPECT_EQ(Create(Options()), ORB_SELECTION_UNREADABLE);
    EXPECT_FALSE(watcher);
    EXPECT_NE(LastFailure(), L"");
    EXPECT_NE(LastFailure(), OrbResultText(ORB_SELECTION_UNREADABLE));
}

TEST_F(WatcherLife, MalformedAdvancedRulesAreNoReasonToBackUpNothing)
{
    const std::wstring advanced = Path(L"advanced.xml");
    folder.WriteBytes(L"advanced.xml", "<Data><Item");
    OrbWatcherOptions options = Options();
    options.advancedRules = advanced.c_str();
    EXPECT_EQ(Create(options), ORB_OK);
}

TEST_F(WatcherLife, AStoppedWatcherWhoseSelectionIsGoneStaysStoppedAndCanBeStartedLater)
{
    Watch();
    ASSERT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    std::filesystem::remove(selection);
    EXPECT_EQ(OrbWatcherStart(watcher.get(), Longest), ORB_SELECTION_UNREADABLE);
    EXPECT_EQ(OrbWatcherStop(watcher.get()), ORB_WRONG_STATE);
    WriteSelection(TreeItem());
    EXPECT_EQ(OrbWatcherStart(watcher.get(), Longest), ORB_OK);
}

TEST_F(WatcherLife, OptionsMayEndBeforeTheSecondaryRules)
{
    OrbWatcherOptions options = Options();
    options.size = offsetof(OrbWatcherOptions, secondaryRules);
    options.secondaryRules = L"not there"; // is not read
    EXPECT_EQ(Create(options), ORB_OK);
}

TEST_F(WatcherLife, HiddenFilesArePendingWhenTheyAreAskedFor)
{
    OrbWatcherOptions options = Options();
    options.hiddenFiles = 1;
    ASSERT_EQ(Create(options), ORB_OK);
    Start();
    const std::wstring path = Write(L"hidden.txt");
    ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_HIDDEN));
    ASSERT_EQ(OrbPendingPutBack(watcher.get(), path.c_str()), ORB_OK);
    EXPECT_TRUE(Receives(path));
}

} // namespace

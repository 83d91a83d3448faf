// A selection that was edited between two watches: what it includes now has never been looked at.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/due/SelectionNote.h"
#include "orbwatcher4/core/due/TimeRule.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

constexpr std::int32_t Complete = 12345;

class EditedSelection : public WatcherFixture
{
protected:
    EditedSelection()
    {
        Index();
        SelectTree();
    }

    // Returns when the last full enumeration was complete, after one more watch; 0: one is due.
    std::int32_t WatchOnce()
    {
        CServiceRunSettings& settings = GetServiceRunSettings();
        settings.SetValue(FirstTimeRunTimeKey, Complete);
        EXPECT_TRUE(settings.Save());
        TimeRule::NoteCheck(clock.Seconds()); // none begins by the time
        watcher.StartWatch();
        EXPECT_TRUE(watcher.WaitUntilReady(20000));
        watcher.AbortWatching();
        settings.Load();
        return settings.GetValue(FirstTimeRunTimeKey, -1);
    }
    std::string Other()
    {
        return Item(L"path=\"" + std::wstring(InTree(L"other")) + L"\" type=\"1\" includeSub=\"1\"");
    }
};

TEST_F(EditedSelection, MakesAFullEnumerationDueOnce)
{
    EXPECT_EQ(WatchOnce(), Complete);
    EXPECT_EQ(WatchOnce(), Complete);
    Select(TreeItem() + Other());
    EXPECT_EQ(WatchOnce(), 0);
    EXPECT_TRUE(log.Has(L"The selection is not as it was when it was last looked at: a full enumeration is due"));
    EXPECT_EQ(WatchOnce(), Complete);
}

TEST_F(EditedSelection, IsAlsoOneOfTheAdvancedFilters)
{
    const auto leaveOut = [&](const std::wstring& mask) {
        const std::wstring rule = L"path=\"$$ALLPATHS$$\" type=\"1\" exclude=\"1\" mask=\"" + mask + L"\"";
        watcher.SetDataXMLFiles(folder.Path(L"data.xml"), L"", WriteRules(L"advanced.xml", Item(rule)));
    };
    leaveOut(L"*.old");
    EXPECT_EQ(WatchOnce(), Complete);
    leaveOut(L"*.tmp");
    EXPECT_EQ(WatchOnce(), 0);
}

TEST_F(EditedSelection, IsNoneThatTheWatcherItselfHasExtended)
{
    EXPECT_EQ(WatchOnce(), Complete);
    EXPECT_EQ(watcher.AddNewQueueItem(WriteRules(L"new.xml", Other()), false, nullptr, 0), RulesQueued);
    EXPECT_EQ(WatchOnce(), Complete);
}

TEST_F(EditedSelection, StaysOneWhenTheWatcherExtendsItToo)
{
    EXPECT_EQ(WatchOnce(), Complete);
    Select(Item(L"path=\"" + std::wstring(InTree(L"first")) + L"\" type=\"1\" includeSub=\"1\""));
    EXPECT_EQ(watcher.AddNewQueueItem(WriteRules(L"new.xml", Other()), false, nullptr, 0), RulesQueued);
    EXPECT_EQ(WatchOnce(), 0);
}

TEST_F(EditedSelection, IsAlsoOneWhoseDestinationIsNoneAnyMore)
{
    watcher.SetDestBackupFolderDB(InTree(L"Backup\\deeper"));
    EXPECT_EQ(WatchOnce(), Complete);
    watcher.SetDestBackupFolderDB(InTree(L"bACKUP"));
    EXPECT_EQ(WatchOnce(), Complete);
    watcher.SetDestBackupFolderDB(nullptr);
    EXPECT_EQ(WatchOnce(), 0);
    EXPECT_TRUE(log.Has(L"" + std::wstring(InTree(L"bACKUP\\")) +
                        L" is no destination any more, and what lies in it was never looked at: a full enumeration is "
                        L"due"));
    EXPECT_EQ(WatchOnce(), Complete);
}

TEST_F(EditedSelection, IsNoticedAtOnceWhenItsDestinationIsTakenAwayDuringAWatch)
{
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    EXPECT_EQ(WatchOnce(), Complete);
    watcher.StartWatch();
    ASSERT_TRUE(watcher.WaitUntilReady(20000));
    TimeRule::NoteCheck(clock.Seconds() + 1000000);
    watcher.SetDestBackupFolderDB(nullptr);
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, -1), 0);
}

TEST_F(EditedSelection, ThatAnEnumerationHasLookedAtIsComparedByTheFirstWatch)
{
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    Select(TreeItem() + Other());
    EXPECT_EQ(WatchOnce(), 0);
}

TEST_F(EditedSelection, IsNoticedWhenItIsLoadedDuringAWatchAndWhenItIsTheFormerOneAgain)
{
    EXPECT_EQ(WatchOnce(), Complete);
    watcher.StartWatch();
    ASSERT_TRUE(watcher.WaitUntilReady(20000));
    TimeRule::NoteCheck(clock.Seconds() + 1000000);
    Select(Other()); // what the tree holds is not selected meanwhile
    GetServiceRunSettings().Load();
    EXPECT_EQ(GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, -1), 0);
    watcher.AbortWatching();
    SelectTree();
    EXPECT_EQ(WatchOnce(), 0);
}

TEST_F(EditedSelection, OfWhichAnEnumerationHasLoadedAnotherOneIsNoticedWhenItIsTheFormerOneAgain)
{
    EXPECT_EQ(WatchOnce(), Complete);
    WriteRules(L"data.xml", Other());
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    ASSERT_EQ(watcher.StartFirstTimeRun(1), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    SelectTree();
    EXPECT_EQ(WatchOnce(), 0);
}

TEST_F(EditedSelection, WhoseNoteIsLostIsLookedAtAgain)
{
    EXPECT_EQ(WatchOnce(), Complete);
    watcher.DeInit();
    GetServiceRunSettings().SetValue(SelectionNoteKey, L"");
    ASSERT_TRUE(GetServiceRunSettings().Save());
    watcher.Init();
    SelectTree();
    EXPECT_EQ(WatchOnce(), 0);
}

TEST_F(EditedSelection, IsNoticedWhenItWasEditedBetweenItsLoadAndAnEnumeration)
{
    WriteRules(L"data.xml", TreeItem() + Other());
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_EQ(WatchOnce(), 0);
}

TEST_F(EditedSelection, ThatCannotBeReadIsNotCompared)
{
    EXPECT_EQ(WatchOnce(), Complete);
    const CString before = SelectionNote::Read();
    ASSERT_TRUE(DeleteFileW(folder.Path(L"data.xml")));
    WatchOnce();
    EXPECT_EQ(SelectionNote::Read(), before);
}

} // namespace

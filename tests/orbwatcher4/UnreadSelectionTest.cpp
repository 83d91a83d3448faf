// A selection that cannot be read: nothing is judged by rules that are not there, and nothing that is due is used up.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "tests/orbwatcher4/LoopFixture.h"

namespace
{

class UnreadSelection : public LoopFixture
{
protected:
    void WriteDump(const CString& path)
    {
        const std::wstring line = std::wstring(path) + L"\n";
        folder.WriteBytes(L"data\\watcher_dump.bin",
                          std::string(reinterpret_cast<const char*>(line.data()), line.size() * sizeof(wchar_t)));
    }
    bool DumpExists() { return GetFileAttributesW(DumpFilePath()) != INVALID_FILE_ATTRIBUTES; }
    bool IsFullDue()
    {
        GetServiceRunSettings().Load();
        return GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1) == 0;
    }
    void BreakSelection()
    {
        folder.WriteBytes(L"data.xml", "<Data><Item");
        watcher.SetDataXmlPath(folder.Path(L"data.xml"));
    }
    void MendSelection() { WriteRules(L"data.xml", TreeItem()); }
    void Enumerate()
    {
        ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }
};

TEST_F(UnreadSelection, IsReadAgainUntilItCanBeAndThenWatched)
{
    BreakSelection();
    EXPECT_FALSE(watcher.LoadSelection());
    Parts().selection.requestedRoots.SetWatching(true);
    Start();
    PassAfter(1);
    EXPECT_TRUE(watcher.GetWatchedRoots().empty());
    MendSelection();
    PassAfter(60); // the longest pause
    EXPECT_EQ(watcher.GetWatchedRoots(), std::vector<CString>{L"c:\\"});
    EXPECT_EQ(rescans, std::vector<std::string>{"newDrive"});
    Parts().selection.requestedRoots.SetWatching(false);
}

TEST_F(UnreadSelection, UsesUpNoEnumerationThatIsDue)
{
    BreakSelection();
    EXPECT_FALSE(watcher.LoadSelection());
    const wchar_t* name = L"orbwatcher4-test-unread-selection-completed";
    const KernelHandle completed(CreateEventW(nullptr, TRUE, FALSE, name));
    watcher.SetFirstTimeCompletionEvent(name);
    Enumerate();
    EXPECT_FALSE(IsSignalled(completed.Get()));
    watcher.NoteFirstTimeRunCompleted();
    EXPECT_TRUE(IsFullDue());
}

TEST_F(UnreadSelection, IsWaitedForByTheTimeRule)
{
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 0);
    GetServiceRunSettings().Save();
    BreakSelection();
    EXPECT_FALSE(watcher.LoadSelection());
    Start();
    PassAfter(1);
    EXPECT_FALSE(log.Has(L"Rescanning selections based on time rule"));
    MendSelection();
    PassAfter(60);
    EXPECT_TRUE(log.Has(L"Rescanning selections based on time rule"));
}

TEST_F(UnreadSelection, ThatWasNeverNamedLeavesTheDumpWhereItIs)
{
    WriteDump(Write(L"a.txt"));
    watcher.Resume();
    EXPECT_TRUE(DumpExists());
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.Resume();
    EXPECT_FALSE(DumpExists());
    EXPECT_TRUE(Pending(InTree(L"a.txt")));
}

TEST_F(UnreadSelection, LetsTheDumpBeReplayedOnceItIsRead)
{
    const CString dumped = Write(L"a.txt");
    WriteDump(dumped);
    BreakSelection();
    watcher.Resume();
    EXPECT_TRUE(DumpExists());
    Start();
    MendSelection();
    PassAfter(60);
    EXPECT_TRUE(Pending(dumped));
    EXPECT_FALSE(DumpExists());
}

TEST_F(UnreadSelection, WithoutAFileLeavesTheRulesThatWereAdded)
{
    const CString rule = WriteRules(L"new.xml", TreeItem());
    ASSERT_EQ(watcher.AddNewQueueItem(rule, false, nullptr, 1), RulesQueued);
    Start();
    PassAfter(1);
    PassAfter(60);
    EXPECT_EQ(watcher.Explain(InTree(L"a.txt")).decision, Included);
}

TEST_F(UnreadSelection, CountsAsReadThoughAnotherFileOfItIsMalformed)
{
    folder.WriteBytes(L"second.xml", "<Data><Item");
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.SetSecondaryXMLFile(folder.Path(L"second.xml"), nullptr);
    EXPECT_FALSE(watcher.LoadSelection());
    const CString file = Write(L"a.txt");
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    Enumerate();
    EXPECT_TRUE(Pending(file));
}

TEST_F(UnreadSelection, SaysWhatItsFilesDoNotMeanUntilSomebodyTakesIt)
{
    folder.WriteBytes(L"second.xml", "<Data><Item");
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem() + "<Item path=\"docs\"/>"));
    watcher.SetSecondaryXMLFile(folder.Path(L"second.xml"), nullptr);
    EXPECT_FALSE(watcher.LoadSelection());
    const RuleFindings findings = watcher.TakeSelectionFindings();
    EXPECT_EQ(findings.Count(RuleFinding::Kind::FileUnread), 1u);
    EXPECT_EQ(findings.Count(RuleFinding::Kind::ItemRefused), 1u);
    EXPECT_TRUE(watcher.TakeSelectionFindings().Kept().empty());
    watcher.AddNewQueueItem(WriteRules(L"new.xml", "<Item/>"), false, nullptr, 1);
    EXPECT_EQ(watcher.TakeSelectionFindings().Kept().size(), 1u);
}

TEST_F(UnreadSelection, LeavesTheDumpWhereItIsThoughARuleWasAdded)
{
    const CString dumped = Write(L"a.txt");
    WriteDump(dumped);
    WriteRules(L"data.xml", TreeItem());
    const CString rule = WriteRules(L"new.xml", Item(L"path=\"C:\\elsewhere\" type=\"1\" includeSub=\"1\""));
    ASSERT_EQ(watcher.AddNewQueueItem(rule, false, nullptr, 1), RulesQueued);
    watcher.Resume();
    EXPECT_TRUE(DumpExists()) << "the rule that was added is not the selection";
    watcher.SetDataXmlPath(folder.Path(L"data.xml"));
    watcher.Resume();
    EXPECT_TRUE(Pending(dumped));
}

TEST_F(UnreadSelection, LetsTheDumpBeReplayedThoughTheServiceReadsItFirst)
{
    const CString dumped = Write(L"a.txt");
    WriteDump(dumped);
    BreakSelection();
    watcher.Resume();
    MendSelection();
    EXPECT_TRUE(watcher.LoadSelection()); // as StartWatch does
    Start();
    PassAfter(60);
    EXPECT_TRUE(Pending(dumped));
    EXPECT_FALSE(DumpExists());
}

TEST_F(UnreadSelection, LetsTheDumpBeReplayedThoughAnotherFileOfItIsMalformed)
{
    const CString dumped = Write(L"a.txt");
    WriteDump(dumped);
    folder.WriteBytes(L"second.xml", "<Data><Item");
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.SetSecondaryXMLFile(folder.Path(L"second.xml"), nullptr);
    watcher.Resume();
    Start();
    PassAfter(60);
    EXPECT_TRUE(Pending(dumped));
}

} // namespace

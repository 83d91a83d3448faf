// How an enumeration tells what it has met.
#include "companions/online/OnlineCallbackHandler.h"
#include "support/Hashes.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class EnumerationCounts : public WatcherFixture
{
protected:
    EnumerationCounts() { watcher.UpdateThreadsPriority(CPUSpeedFull); }

    EnumerationProgress Run()
    {
        EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
        return watcher.GetEnumerationProgress();
    }
    // Returns the outcomes that came, with their counts.
    using Counts = std::map<PathOutcome, unsigned __int64>;
    static Counts CountsOf(const EnumerationProgress& progress)
    {
        Counts counts;
        for (std::size_t i = 0; i < PathOutcomes; ++i)
            if (progress.outcomes[i] != 0)
                counts[static_cast<PathOutcome>(i)] = progress.outcomes[i];
        return counts;
    }
    std::string Exclusion(const std::wstring& name, const std::wstring& more = L"")
    {
        return Item(L"path=\"" + std::wstring(InTree(name)) + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"" + more);
    }
    void Hide(const CString& path) { ASSERT_TRUE(SetFileAttributesW(path, FILE_ATTRIBUTE_HIDDEN)); }
};

TEST_F(EnumerationCounts, FilesAndFoldersAreCountedApartAndTheLastFolderIsNamed)
{
    Write(L"a.txt");
    Write(L"d\\b.txt");
    SelectTree();
    const EnumerationProgress progress = Run();
    EXPECT_EQ(progress.files, 2u);
    EXPECT_EQ(progress.folders, 2u);
    EXPECT_EQ(CountsOf(progress), (Counts{{PathOutcome::Queued, 4}}));
    EXPECT_EQ(progress.folder, InTree(L"d\\"));
    EXPECT_EQ(progress.running, 0);
}

TEST_F(EnumerationCounts, EachRunBeginsAtZero)
{
    Write(L"a.txt");
    SelectTree();
    Run();
    const EnumerationProgress again = Run();
    EXPECT_EQ(again.files, 1u);
    EXPECT_EQ(CountsOf(again), (Counts{{PathOutcome::Waiting, 2}}));
}

TEST_F(EnumerationCounts, WhatTheIndexKnowsIsUnchangedDelayedOrUploaded)
{
    const CString same = Write(L"same.txt"), changed = Write(L"changed.txt"), delayed = Write(L"delayed.txt"),
                  uploaded = Write(L"uploaded.txt");
    Record(same);
    RecordWithTime(changed, 1);
    RecordWithTime(delayed, 1, 0, clock.Seconds() + 100);
    RecordWithTime(uploaded, 1);
    std::uint64_t modified = 0;
    ASSERT_TRUE(GetFileTimes(uploaded, false, nullptr, &modified));
    Parts().config.online->AddUploaded(uploaded, modified);
    SelectTree();
    EXPECT_EQ(CountsOf(Run()), (Counts{{PathOutcome::Queued, 2}, // the tree itself is new
                                       {PathOutcome::Unchanged, 1},
                                       {PathOutcome::Delayed, 1},
                                       {PathOutcome::Uploaded, 1}}));
}

TEST_F(EnumerationCounts, WhatIsSkippedIsCountedByItsReason)
{
    Write(L"plain.txt");
    Hide(Write(L"hidden.txt"));
    Hide(MakeFolder(L"hidden folder"));
    Write(L"excluded\\a.txt");
    Write(L"x.tmp");
    Write(L"y.bak");
    Write(L"z.old");
    // The folder's path is not too long, wherever the tree is, and its file's is.
    Write(std::wstring(240 - InTree(L"").GetLength(), L'n') + L"\\" + std::wstring(200, L'n'));
    watcher.SetDataXMLFiles(
        WriteRules(L"data.xml", TreeItem() + Exclusion(L"excluded") + Exclusion(L"", L" mask=\".tmp\"")),
        WriteRules(L"auto.xml", Exclusion(L"", L" mask=\".bak\"")),
        WriteRules(L"advanced.xml", Exclusion(L"", L" mask=\".old\"")));
    ASSERT_TRUE(watcher.LoadSelection());
    const EnumerationProgress progress = Run();
    EXPECT_EQ(CountsOf(progress), (Counts{{PathOutcome::Queued, 3}, // two folders and a file
                                          {PathOutcome::Hidden, 2},
                                          {PathOutcome::Excluded, 2},
                                          {PathOutcome::AutoExcluded, 1},
                                          {PathOutcome::Advanced, 1},
                                          {PathOutcome::TooLong, 1}}));
    EXPECT_EQ(progress.files, 6u);
    EXPECT_EQ(progress.folders, 4u);
}

TEST_F(EnumerationCounts, AFolderThatTheProductExcludesIsToldApartFromTheUsers)
{
    Write(L"automatic\\a.txt");
    watcher.SetDataXMLFiles(WriteRules(L"data.xml", TreeItem()), WriteRules(L"auto.xml", Exclusion(L"automatic")), L"");
    ASSERT_TRUE(watcher.LoadSelection());
    EXPECT_EQ(CountsOf(Run()), (Counts{{PathOutcome::Queued, 1}, {PathOutcome::AutoExcluded, 1}}));
}

TEST_F(EnumerationCounts, FoldersOfARegularExpressionAreNotApplicable)
{
    Write(L"a.txt");
    watcher.SetDataXMLFiles(WriteRules(L"data.xml", TreeItem()), L"",
                            WriteRules(L"advanced.xml", Exclusion(L"", L" isregex=\"1\" mask=\"\\.jpg$\"")));
    ASSERT_TRUE(watcher.LoadSelection());
    EXPECT_EQ(CountsOf(Run()), (Counts{{PathOutcome::Queued, 1}, {PathOutcome::NotApplicable, 1}}));
}

TEST_F(EnumerationCounts, SelectedPathsThatAreNotThereAreMissingAndNotMet)
{
    Select(Item(L"path=\"" + std::wstring(InTree(L"gone.txt")) + L"\"") + // a drive of single files
           Item(L"path=\"B:\\x\" type=\"1\" includeSub=\"1\" vid=\"12345\""));
    const EnumerationProgress files = Run();
    EXPECT_EQ(CountsOf(files), (Counts{{PathOutcome::Missing, 2}}));
    EXPECT_EQ(files.files + files.folders, 0u);
    Select(Item(L"path=\"" + std::wstring(InTree(L"gone")) + L"\" type=\"1\" includeSub=\"1\""));
    EXPECT_EQ(CountsOf(Run()), (Counts{{PathOutcome::Missing, 1}}));
}

TEST_F(EnumerationCounts, WhatCouldNotBeLookedAtIsNamedOnceInEachRun)
{
    using Paths = std::map<CString, PathOutcome>;
    const auto taken = [&] {
        const SkippedPaths skipped = watcher.TakeSkippedPaths();
        EXPECT_EQ(skipped.more, 0u);
        Paths paths;
        for (const PassedOverPath& path : skipped.paths)
            paths[path.path] = path.why;
        return paths;
    };
    Write(L"folder\\f.txt");
    Select(Item(L"path=\"" + std::wstring(InTree(L"gone.txt")) + L"\"") + // a drive of single files
           Item(L"path=\"" + std::wstring(InTree(L"folder")) + L"\"") +
           Item(L"path=\"B:\\x\" type=\"1\" includeSub=\"1\" vid=\"12345\""));
    const Paths expected = {{InTree(L"gone.txt"), PathOutcome::Missing},
                            {InTree(L"folder"), PathOutcome::Missing},
                            {L"b:\\", PathOutcome::Missing}};
    Run();
    EXPECT_EQ(taken(), expected);
    EXPECT_TRUE(taken().empty());
    Run();
    EXPECT_EQ(taken(), expected);
}

TEST_F(EnumerationCounts, TwoLinksToOneFolderAreWalkedOnce)
{
    folder.WriteBytes(L"target\\t.txt", "x");
    for (const wchar_t* name : {L"one", L"two"})
        ASSERT_TRUE(MakeLink(InTree(name).GetString(), folder.Path(L"target").GetString()));
    Select(TreeItem() + Item(L"path=\"" + std::wstring(folder.Path(L"target")) + L"\" type=\"1\" includeSub=\"1\""));
    const EnumerationProgress progress = Run();
    EXPECT_EQ(CountsOf(progress), (Counts{{PathOutcome::Queued, 3}, {PathOutcome::WalkedAlready, 1}}));
    EXPECT_TRUE(Pending(folder.Path(L"target\\t.txt")));
    for (const wchar_t* name : {L"one", L"two"})
        EXPECT_TRUE(RemoveLink(InTree(name).GetString()));
}

TEST_F(EnumerationCounts, ARunOverOneDriveIsGoingOnUntilItHasEnded)
{
    SelectTree();
    {
        const CSingleLock filter(Parts().selection.primaryLock); // it cannot get by
        ASSERT_TRUE(WatcherAccess::Parts(watcher).enumerator.StartOn(L"c:\\"));
        EXPECT_EQ(watcher.GetEnumerationProgress().running, 1);
        EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 0);
    }
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_EQ(watcher.GetEnumerationProgress().running, 0);
    EXPECT_EQ(watcher.GetEnumerationProgress().folders, 1u);
}

TEST_F(EnumerationCounts, ARunIsGoingOnAlsoWhenItIsHidden)
{
    SelectTree();
    watcher.SetFirstTimeWatcherHide(1);
    {
        const CSingleLock filter(Parts().selection.primaryLock); // it cannot get by
        ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
        EXPECT_EQ(watcher.GetEnumerationProgress().running, 1);
    }
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_EQ(watcher.GetEnumerationProgress().running, 0);
}

} // namespace

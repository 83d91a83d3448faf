// The destination of backups and the product's own files are in no selection, whatever the rules say.
#include "tests/orbwatcher4/WatcherFixture.h"

#include <atomic>
#include <thread>

namespace
{

class KeptOutOfAWatch : public WatcherFixture
{
protected:
    KeptOutOfAWatch() { watcher.UpdateThreadsPriority(CPUSpeedFull); }

    EnumerationProgress Run()
    {
        EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
        return watcher.GetEnumerationProgress();
    }
    PathExplanation::Reason ReasonOf(const CString& path) { return watcher.Explain(path).reason; }
};
using Reason = PathExplanation::Reason;

TEST_F(KeptOutOfAWatch, AChangeInTheDestinationIsNone)
{
    SelectTree();
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    const CString inside = Write(L"Backup\\deeper\\a.txt"), beside = Write(L"Backups\\a.txt");
    for (const CString& path : {inside, beside}) {
        Handler().OnFileAdded(path);
        Handler().OnFileModified(path);
    }
    EXPECT_FALSE(Pending(inside));
    EXPECT_TRUE(Pending(beside));
    EXPECT_EQ(ReasonOf(inside), Reason::BackupFolder);
    EXPECT_EQ(ReasonOf(InTree(L"bACKUP\\deeper\\b.txt")), Reason::BackupFolder);
    EXPECT_EQ(watcher.Explain(inside).decision, NotIncluded);
    EXPECT_EQ(ReasonOf(beside), Reason::Rules);
}

TEST_F(KeptOutOfAWatch, TheDestinationMayBeSpelledInAnyWay)
{
    SelectTree();
    CString slashes = InTree(L"other\\..\\Backup");
    slashes.Replace(L"\\", L"/");
    watcher.SetDestBackupFolderDB(slashes);
    EXPECT_EQ(ReasonOf(Write(L"Backup\\a.txt")), Reason::BackupFolder);
    watcher.SetDestBackupFolderDB(L"\\\\?\\" + InTree(L"Second\\"));
    EXPECT_EQ(ReasonOf(Write(L"Second\\a.txt")), Reason::BackupFolder);
    EXPECT_EQ(ReasonOf(InTree(L"Backup\\a.txt")), Reason::Rules);
}

TEST_F(KeptOutOfAWatch, AFolderThatMovesIntoTheDestinationIsNotExpanded)
{
    SelectTree();
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    Write(L"Backup\\moved\\a.txt");
    Handler().OnFileAdded(InTree(L"Backup\\moved"));
    EXPECT_TRUE(Drain().empty());
}

TEST_F(KeptOutOfAWatch, AnEnumerationPassesTheDestinationOver)
{
    SelectTree();
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    Write(L"Backup\\deeper\\a.txt");
    const CString kept = Write(L"b.txt");
    const EnumerationProgress progress = Run();
    EXPECT_EQ(progress.Of(PathOutcome::BackupFolder), 1u);
    EXPECT_EQ(progress.Of(PathOutcome::Queued), 2u);
    EXPECT_TRUE(Pending(kept));
}

TEST_F(KeptOutOfAWatch, ARuleInsideTheDestinationSelectsNothing)
{
    Select(TreeItem() + Item(L"path=\"" + std::wstring(InTree(L"Backup\\deeper")) + L"\" type=\"1\" includeSub=\"1\"") +
           Item(L"path=\"" + std::wstring(InTree(L"Backup\\single.txt")) + L"\""));
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    Write(L"Backup\\deeper\\a.txt");
    Write(L"Backup\\single.txt");
    Run();
    EXPECT_EQ(Drain(), (std::vector<std::wstring>{std::wstring(InTree(L""))}));
}

TEST_F(KeptOutOfAWatch, ADestinationThatIsSetWhileWatchingTakesBackWhatWaits)
{
    SelectTree();
    const CString inside = Write(L"Backup\\a.txt"), beside = Write(L"b.txt");
    Handler().OnFileAdded(inside);
    Handler().OnFileAdded(beside);
    ASSERT_TRUE(Pending(inside));
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    EXPECT_EQ(Drain(), (std::vector<std::wstring>{std::wstring(beside)}));
    EXPECT_FALSE(Pending(inside));
}

TEST_F(KeptOutOfAWatch, AnIndexedFileInTheDestinationLeavesNoDeletion)
{
    SelectTree();
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    const CString path = Write(L"Backup\\a.txt");
    RecordWithTime(path, 1);
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    EXPECT_FALSE(Pending(path));
}

TEST_F(KeptOutOfAWatch, TheDestinationStaysOverAReloadOfTheSelection)
{
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    SelectTree();
    ASSERT_TRUE(watcher.LoadSelection());
    EXPECT_EQ(ReasonOf(Write(L"Backup\\a.txt")), Reason::BackupFolder);
    watcher.SetDestBackupFolderDB(nullptr);
    EXPECT_EQ(ReasonOf(InTree(L"Backup\\a.txt")), Reason::Rules);
}

TEST_F(KeptOutOfAWatch, TheSecondSelectionDoesNotBringTheDestinationBack)
{
    SelectTree();
    watcher.SetSecondaryXMLFile(WriteRules(L"second.xml", TreeItem()), nullptr);
    ASSERT_TRUE(watcher.LoadSelection());
    watcher.SetDestBackupFolderDB(InTree(L"Backup"));
    const CString path = Write(L"Backup\\a.txt");
    EXPECT_EQ(Parts().selection.secondary.CheckForInclusion(path, nullptr, true, false), NotIncluded);
}

TEST_F(KeptOutOfAWatch, FilesThatTheProgramWritesAreItsOwn)
{
    SelectTree();
    watcher.SetOwnFiles({InTree(L"out.txt"), InTree(L"list.xml")});
    const CString out = Write(L"out.txt"), other = Write(L"out.txt.old");
    Handler().OnFileModified(out);
    Handler().OnFileModified(other);
    EXPECT_FALSE(Pending(out));
    EXPECT_TRUE(Pending(other));
    EXPECT_EQ(ReasonOf(out), Reason::OwnFile);
    EXPECT_EQ(Run().Of(PathOutcome::OwnFile), 1u);
}

TEST_F(KeptOutOfAWatch, TheDestinationMayBeSetWhileChangesAreJudged)
{
    SelectTree();
    const CString inside = Write(L"Backup\\a.txt");
    std::atomic<bool> done{false};
    std::thread judging([&] {
        while (!done) {
            Handler().OnFileModified(inside);
            watcher.Explain(inside);
        }
    });
    for (int i = 0; i < 200; ++i)
        watcher.SetDestBackupFolderDB(i % 2 ? InTree(L"Backup").GetString() : nullptr);
    done = true;
    judging.join();
    EXPECT_EQ(ReasonOf(inside), Reason::BackupFolder);
    EXPECT_TRUE(Drain().empty());
}

} // namespace

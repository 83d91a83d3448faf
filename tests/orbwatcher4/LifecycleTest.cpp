// Starting, stopping and reloading.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class Lifecycle : public WatcherFixture
{
};

TEST_F(Lifecycle, AWatcherThatWasStoppedIsNotReady)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.StartWatch();
    EXPECT_TRUE(watcher.WaitUntilReady(20000));
    watcher.AbortWatching();
    EXPECT_FALSE(watcher.WaitUntilReady(0));
    EXPECT_TRUE(watcher.GetWatchedRoots().empty());
}

TEST_F(Lifecycle, DeInitStopsAWatcherThatRuns)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.StartWatch();
    EXPECT_TRUE(watcher.WaitUntilReady(20000));
    watcher.DeInit();
    EXPECT_FALSE(Parts().supervisor.IsStarted());
    EXPECT_TRUE(watcher.GetWatchedRoots().empty());
}

TEST_F(Lifecycle, AReloadKeepsTheBackupFolderWhileTheSettingsCannotBeRead)
{
    GetUserConfigurations().SetValue(L"Backup::path", InTree(L"Backups"));
    ASSERT_TRUE(GetUserConfigurations().Save());
    SelectTree();
    EXPECT_EQ(watcher.Explain(InTree(L"Backups\\x")).reason, PathExplanation::Reason::BackupFolder);
    const FileHandle others(CreateFileW(folder.Path(L"data\\UserConfigurations.json"), GENERIC_READ, 0, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(static_cast<bool>(others));
    SelectTree();
    EXPECT_EQ(watcher.Explain(InTree(L"Backups\\x")).reason, PathExplanation::Reason::BackupFolder);
}

TEST_F(Lifecycle, AReloadForgetsWhatIsGoneFromTheFileBesideTheRules)
{
    Select("<GlobalExclude>old</GlobalExclude>" + Item(L"path=\"\\\\server\\share\\a\" type=\"1\""));
    EXPECT_TRUE(Parts().selection.primary.NetworkInclude());
    SelectTree();
    EXPECT_FALSE(Parts().selection.primary.NetworkInclude());
    EXPECT_TRUE(Parts().selection.primary.GlobalExclude().IsEmpty());
}

TEST_F(Lifecycle, AReloadWhoseAdvancedFileCannotBeReadKeepsTheAdvancedRules)
{
    const CString advanced =
        WriteRules(L"advanced.xml", Item(L"path=\"" + std::wstring(tree) +
                                         L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".tmp\""));
    watcher.SetAdvancedFiltersPath(advanced);
    SelectTree();
    const CString path = Write(L"a.tmp");
    EXPECT_EQ(watcher.Explain(path).decision, Excluded);
    folder.WriteBytes(L"advanced.xml", "<Data><Item");
    SelectTree();
    EXPECT_EQ(watcher.Explain(path).decision, Excluded);
}

TEST_F(Lifecycle, StoppingAWatcherThatNeverStartedDoesNothingHarmful)
{
    EXPECT_EQ(watcher.AbortWatching(), 1);
    EXPECT_FALSE(Parts().stop.IsSet());
}

TEST_F(Lifecycle, StartingWhileWatchingStopsTheOldRunFirst)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.StartWatch();
    EXPECT_EQ(watcher.StartWatch(), 1);
    EXPECT_TRUE(watcher.WaitUntilReady(20000));
    EXPECT_FALSE(Parts().stop.IsSet());
    watcher.AbortWatching();
    EXPECT_FALSE(Parts().selection.requestedRoots.IsWatching());
}

TEST_F(Lifecycle, AReloadTakesRulesAwayThatAreGoneFromTheFile)
{
    SelectTree();
    const CString path = Write(L"a.txt");
    EXPECT_EQ(watcher.Explain(path).decision, Included);
    Select(Item(L"path=\"C:\\elsewhere\" type=\"1\" includeSub=\"1\""));
    EXPECT_EQ(watcher.Explain(path).decision, NotIncluded);
}

TEST_F(Lifecycle, AReloadThatFailsKeepsTheOldRules)
{
    SelectTree();
    const CString path = Write(L"a.txt");
    folder.WriteBytes(L"data.xml", "<Data><Item");
    EXPECT_FALSE(watcher.LoadSelection());
    EXPECT_EQ(watcher.Explain(path).decision, Included);
}

TEST_F(Lifecycle, DeInitEmptiesFiltersAndStore)
{
    SelectTree();
    Handler().OnFileAdded(Write(L"a.txt"));
    watcher.DeInit();
    EXPECT_FALSE(Parts().selection.primary.HasRules());
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(Lifecycle, AUserWhoCannotBeImpersonatedIsLogged)
{
    watcher.SetUserToken(INVALID_HANDLE_VALUE);
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.StartWatch();
    EXPECT_TRUE(watcher.WaitUntilReady(20000));
    watcher.AbortWatching();
    const std::vector<LogCapture::Line> lines = log.Lines();
    const auto failure = std::find_if(lines.begin(), lines.end(), [](const LogCapture::Line& line) {
        return line.text == L"Failed to impersonate user";
    });
    ASSERT_NE(failure, lines.end());
    EXPECT_EQ(failure->level, LogLevel::Error);
    EXPECT_EQ(failure->sourceLine, 132);
    EXPECT_TRUE(std::next(failure)->text.starts_with(L"Last error: "));
}

bool HasToken()
{
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token))
        return false;
    CloseHandle(token);
    return true;
}

TEST_F(Lifecycle, AnExportedOperationGivesItsCallerTheTokenBack)
{
    RevertToSelf(); // other tests are the notifier thread, which keeps what it has taken
    SelectTree();
    QueueDatum datum;
    for (const bool impersonating : {false, true}) {
        ASSERT_TRUE(!impersonating || ImpersonateSelf(SecurityImpersonation));
        watcher.AddSingleNotification(Write(L"new\\a.txt"));
        EXPECT_EQ(HasToken(), impersonating);
        watcher.AddNewQueueItem(WriteRules(L"new.xml", TreeItem()), false, nullptr, 0); // enables privileges on its way
        EXPECT_EQ(HasToken(), impersonating);
        watcher.GetSingleNotification(nullptr, datum);
        EXPECT_EQ(HasToken(), impersonating);
    }
    RevertToSelf();
}

} // namespace

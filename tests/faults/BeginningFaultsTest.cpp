// The system refuses the beginning of a watch, or the return of a drive: the failure is reported, and another try
// works.
#include "directory_changes/DirectoryChanges.h"
#include "tests/faults/FaultyWatcher.h"

#include <optional>

namespace
{

class FaultyBeginning : public FaultyWatcher
{
protected:
    FaultyBeginning() { file = Write(L"file.txt"); }

    void Watch() { error = engine->WatchDirectory(tree, &handler); }
    void CheckWatch()
    {
        EXPECT_EQ(engine->IsWatchingDirectory(tree), error == ERROR_SUCCESS);
        engine->UnwatchAllDirectories();
        EXPECT_FALSE(engine->IsWatchingDirectory(tree));
        EXPECT_EQ(engine->WatchDirectory(tree, &handler), DWORD(ERROR_SUCCESS));
        engine->UnwatchAllDirectories();
    }

    void PrepareDrive()
    {
        NoteEnumerationDone();
        InitAgain();
        ASSERT_TRUE(watcher.LoadSelection());
    }
    void CheckDrive()
    {
        watcher.UpdateDrive(L"C:\\", WatcherEnum::DriveReappeared);
        EXPECT_EQ(watcher.Explain(file).decision, Included);
        watcher.DeInit();
    }

    CString file;
    CDirectoryChangeHandler handler;
    std::optional<CDirectoryChangeWatcher> engine{std::in_place};
    DWORD error = 0;
};

TEST_P(FaultyBeginning, AWatchThatIsRefusedCanBeBegunAgain)
{
    TryFaults({"beginning of a watch", [] {}, [this] { Watch(); }, [this] { CheckWatch(); }});
}

class FaultyReturn : public FaultyBeginning
{
};

TEST_P(FaultyReturn, ADrivesReturnLeavesItsRules)
{
    TryFaults({"return of a drive", [this] { PrepareDrive(); },
               [this] { watcher.UpdateDrive(L"C:\\", WatcherEnum::DriveReappeared); }, [this] { CheckDrive(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyBeginning,
                         testing::Values(Faults::Opening(), Faults::Reading(), Faults::ThreadStart()),
                         [](const auto& info) { return info.param.name; });
INSTANTIATE_TEST_SUITE_P(, FaultyReturn, testing::Values(Faults::Reading(), Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace

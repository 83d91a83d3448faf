// The threads of a full scan, with a caller of the test's own.
#include "orbwatcher4/estimator/DriveScans.h"
#include "tests/estimator/ScannerFixture.h"
#include "tests/filter/FolderRule.h"
#include "tests/filter/ScanRecord.h"

#include <process.h>

#include <functional>
#include <thread>

namespace
{

// Says when a walk has come upon a folder.
class FolderCaller final : public SmartScanCaller
{
public:
    void FileFoundCallback(const wchar_t*, unsigned __int64) override { ++files; }
    bool ProgressCallback() override { return goOn; }
    void FolderFoundCallback(const wchar_t* path) override
    {
        if (onFolder)
            onFolder(path);
    }

    std::function<void(const CString&)> onFolder;
    std::atomic<int> files{0};
    bool goOn = true;
};

DriveScans* g_scans = nullptr;
bool g_refuse = false; // the next thread

struct LateThread {
    unsigned(__stdcall* entry)(void*);
    void* argument;
};

unsigned __stdcall RunWhenEnding(void* context)
{
    const std::unique_ptr<LateThread> thread(static_cast<LateThread*>(context));
    while (!g_scans->IsEnding()) {
    }
    return thread->entry(thread->argument);
}

// Every second thread is refused: Run does not wait for the others then.
HANDLE StartLateOrNot(unsigned(__stdcall* entry)(void*), void* argument)
{
    if (std::exchange(g_refuse, !g_refuse))
        return nullptr;
    return reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, 0, &RunWhenEnding, new LateThread{entry, argument}, 0, nullptr));
}

class DriveScanning : public ScannerFixture
{
protected:
    DriveScanning()
    {
        Write(L"d\\e\\a.txt");
        filter.AddSingleFilter(FolderRule(Tree()), true);
    }
    void Run() { scans.Run(stop, tally); }

    OrbFilter filter;
    FolderCaller caller;
    CEvent stop{false, true};
    const std::shared_ptr<ScanTally> tally = std::make_shared<ScanTally>();
    DriveScans scans{filter, caller};
};

TEST_F(DriveScanning, AfterAScanThatWasStoppedFoldersAreReadAgain)
{
    // Known by now, and not read yet.
    caller.onFolder = [&](const CString& path) {
        if (path == Tree(L"d\\"))
            stop.SetEvent();
    };
    Run();
    EXPECT_EQ(caller.files, 0);
    ScanRecord record;
    EXPECT_TRUE(filter.ScanDirectory(Tree(), L"*", false, &record, true));
    EXPECT_EQ(record.FilesReported(), 1);
}

TEST_F(DriveScanning, TheCallersWishEndsAScan)
{
    caller.goOn = false;
    Run();
    EXPECT_EQ(caller.files, 0);
    EXPECT_EQ(tally->Read().drivesDone, 1);
}

TEST_F(DriveScanning, RulesMayBeEditedWhileAScanIsGoingOn)
{
    caller.onFolder = [&](const CString&) { filter.ClearAll(); };
    Run();
    EXPECT_EQ(caller.files, 1);
}

TEST_F(DriveScanning, ScansThatGoOnAreEndedWithTheObject)
{
    g_scans = &scans;
    g_refuse = false;
    scans.SetStartThread(&StartLateOrNot);
    filter.AddSingleFilter(FolderRule(L"D:\\none\\"), true);
    Run();
    scans.End();
    EXPECT_EQ(caller.files, 0);
    EXPECT_EQ(tally->Read().drivesDone, 1);
}

} // namespace

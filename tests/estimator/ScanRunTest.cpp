// The full scan: a thread a drive.
#include "support/Handle.h"
#include "tests/estimator/ScannerFixture.h"

#include <process.h>

#include <thread>

namespace
{

HANDLE g_gate = nullptr;       // what the threads of a test wait for
std::atomic<int> g_started{0}; // threads that were asked for
int g_refused = -1;            // the one that the system refuses

struct GatedThread {
    unsigned(__stdcall* entry)(void*);
    void* argument;
};

unsigned __stdcall PassGate(void* context)
{
    const std::unique_ptr<GatedThread> thread(static_cast<GatedThread*>(context));
    WaitForSingleObject(g_gate, INFINITE);
    return thread->entry(thread->argument);
}

HANDLE StartGated(unsigned(__stdcall* entry)(void*), void* argument)
{
    if (g_started++ == g_refused) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, 0, &PassGate, new GatedThread{entry, argument}, 0, nullptr));
}

// A folder that is a drive as long as the object lives.
class AttachedDrive
{
public:
    AttachedDrive(char letter, const CString& folder) : m_letter(letter), m_attached(AttachDrive(letter, folder)) {}
    ~AttachedDrive() { DetachDrive(m_letter); }
    AttachedDrive(const AttachedDrive&) = delete;
    AttachedDrive& operator=(const AttachedDrive&) = delete;

    bool IsThere() const { return m_attached; }

private:
    const char m_letter;
    const bool m_attached;
};

class ScanRun : public ScannerFixture
{
protected:
    ScanRun()
    {
        g_gate = m_gate;
        g_started = 0;
        g_refused = -1;
    }
    ~ScanRun() override { OpenGate(); }
    void CloseGate() { ScannerAccess::SetStartThread(scanner, &StartGated); }
    void OpenGate() { m_gate.SetEvent(); }

    // The tree, and drives that are not there, given as shares.
    void ConfigureDrives(int others)
    {
        std::string items = FolderItem(Tree());
        for (int i = 0; i < others; ++i)
            items += FolderItem((L"\\\\server\\none" + std::to_wstring(i)).c_str());
        Configure(items);
    }
    // The tree alone, selected as in the configuration.
    void StartOnTree()
    {
        Configure(FolderItem(Tree()));
        scanner.Start();
        scanner.AddProfile(0);
    }
    std::map<std::wstring, PathOutcome> PassedOver()
    {
        std::map<std::wstring, PathOutcome> paths;
        for (const PassedOverPath& path : scanner.GetPassedOver())
            paths[std::wstring(path.path)] = path.why;
        return paths;
    }

private:
    CEvent m_gate{false, true};
};

TEST_F(ScanRun, TheTotalsAreZeroAfterItUntilARecount)
{
    Write(L"a.txt", 3);
    Write(L"d\\b.txt", 4);
    StartOnTree();
    EXPECT_EQ(scanner.GetTotalSize(), 0.0);
    EXPECT_EQ(scanner.GetTotalCost(), 0.0);
    EXPECT_FALSE(scanner.IsCalculating());
    EXPECT_TRUE(IsCached(Tree(L"d\\b.txt")));
    EXPECT_EQ(Total(), 7u);
}

TEST_F(ScanRun, WithoutAConfigurationNothingIsScanned)
{
    scanner.Start();
    scanner.SetBasicInfo(folder.Path(L"none.xml"), folder.Path(L"none.xml"), folder.Path(L"none.xml"));
    scanner.Start();
    folder.WriteBytes(L"bad.xml", "<Data><Item path=\"C:\\");
    scanner.SetBasicInfo(folder.Path(L"bad.xml"), folder.Path(L"bad.xml"), folder.Path(L"bad.xml"));
    scanner.Start();
    EXPECT_TRUE(ScannerAccess::Cache(scanner)->empty());
    EXPECT_EQ(scanner.GetScanProgress().drives, 0);
    EXPECT_EQ(Total(), 0u);
}

TEST_F(ScanRun, TheSelectionBeginsWithTheProductsExclusionsAlone)
{
    Write(L"a.txt", 3);
    Write(L"b.bak", 4);
    scanner.SetBasicInfo(WriteRules(L"data.xml", FolderItem(Tree())),
                         WriteRules(L"auto.xml", FolderItem(Tree(), L"mask=\".bak\" exclude=\"1\"")), nullptr);
    scanner.Start();
    EXPECT_EQ(Rules().size(), 1u);
    EXPECT_EQ(Total(), 0u);
    scanner.AddPath(Tree(), true);
    EXPECT_EQ(Total(), 3u);
}

TEST_F(ScanRun, WhatWasEditedBeforeStays)
{
    Write(L"a.txt", 3);
    scanner.AddPath(Tree(), true);
    scanner.Start();
    EXPECT_EQ(Total(), 3u);
}

TEST_F(ScanRun, EachStartLooksAtEveryFolderAgain)
{
    Write(L"d\\a.txt", 3);
    StartOnTree();
    Write(L"d\\b.txt", 4);
    scanner.Start();
    EXPECT_EQ(Total(), 7u);
}

TEST_F(ScanRun, HiddenFoldersAreNotScannedWhateverIsSet)
{
    Write(L"d\\a.txt", 3);
    ASSERT_TRUE(SetFileAttributesW(Tree(L"d"), FILE_ATTRIBUTE_HIDDEN));
    scanner.IncludeHidden(true);
    StartOnTree();
    EXPECT_EQ(Total(), 0u);
    EXPECT_EQ(PassedOver(), (std::map<std::wstring, PathOutcome>{{std::wstring(Tree(L"d\\")), PathOutcome::Hidden}}));
}

TEST_F(ScanRun, SeveralDrivesAreScannedAtOnce)
{
    Write(L"a.txt", 3);
    folder.WriteBytes(L"p\\d\\x.txt", "12345");
    folder.WriteBytes(L"q\\d\\x.txt", "123456");
    const AttachedDrive p('p', folder.Path(L"p")), q('q', folder.Path(L"q"));
    ASSERT_TRUE(p.IsThere() && q.IsThere());
    Configure(FolderItem(Tree()) + FolderItem(L"P:\\") + FolderItem(L"Q:\\d"));
    CloseGate();
    std::thread opener([&] {
        while (g_started < 3) {
        }
        OpenGate(); // none could have ended before
    });
    scanner.Start();
    opener.join();
    scanner.AddProfile(0);
    EXPECT_EQ(IncludedFiles(), (Files{{L"a.txt", 3}, {L"p:\\d\\x.txt", 5}, {L"q:\\d\\x.txt", 6}}));
    EXPECT_EQ(scanner.GetScanProgress().drivesDone, 3);
}

TEST_F(ScanRun, ADriveThatIsNotThereIsToldAndTheOthersAreScanned)
{
    Write(L"a.txt", 3);
    Configure(FolderItem(Tree()) + FolderItem(L"B:\\x") + Item(L"path=\"B:\\f.txt\""));
    scanner.Start();
    scanner.AddProfile(0);
    EXPECT_EQ(Total(), 3u);
    EXPECT_EQ(PassedOver(), (std::map<std::wstring, PathOutcome>{{L"B:\\x\\", PathOutcome::Missing},
                                                                 {L"B:\\f.txt", PathOutcome::Missing}}));
    scanner.AddPath(L"B:\\y\\", true);
    EXPECT_EQ(Total(), 3u);
}

TEST_F(ScanRun, MoreDrivesThanTheSystemCanWaitForAreScannedAfterItHasReturned)
{
    Write(L"a.txt", 3);
    ConfigureDrives(70);
    CloseGate();
    scanner.Start(); // would wait for ever
    EXPECT_EQ(g_started, 71);
    EXPECT_EQ(scanner.GetScanProgress().drivesDone, 0);
    EXPECT_FALSE(IsCached(Tree(L"a.txt")));
    OpenGate();
    scanner.WaitForScans();
    EXPECT_TRUE(IsCached(Tree(L"a.txt")));
    EXPECT_EQ(scanner.GetScanProgress().drivesDone, 71);
    EXPECT_EQ(scanner.GetTotalSize(), 3.0) << "found after the totals were set to zero";
    scanner.AddProfile(0);
    EXPECT_EQ(Total(), 3u);
}

TEST_F(ScanRun, AsManyDrivesAsTheSystemCanWaitForAreWaitedFor)
{
    Write(L"a.txt", 3);
    ConfigureDrives(63);
    scanner.Start();
    EXPECT_EQ(scanner.GetScanProgress().drivesDone, 64);
    EXPECT_TRUE(IsCached(Tree(L"a.txt")));
    EXPECT_EQ(scanner.GetTotalSize(), 0.0);
}

TEST_F(ScanRun, WhoNeedsTheCacheWaitsForScansThatGoOn)
{
    Write(L"a.txt", 3);
    ConfigureDrives(70);
    CloseGate();
    scanner.Start();
    scanner.AddProfile(0);
    std::thread opener([&] {
        while (!scanner.IsCalculating()) {
        }
        OpenGate();
    });
    EXPECT_EQ(Total(), 3u);
    opener.join();
}

TEST_F(ScanRun, ARecountThatWaitsForScansCanBeAborted)
{
    ConfigureDrives(70);
    CloseGate();
    scanner.Start();
    std::thread aborter([&] {
        while (!scanner.IsCalculating()) {
        }
        scanner.AbortUpdate();
    });
    scanner.UpdateTotals(); // would wait for ever
    aborter.join();
    EXPECT_FALSE(scanner.IsCalculating());
}

TEST_F(ScanRun, ACopyWaitsForScansOfItsSource)
{
    Write(L"a.txt", 3);
    ConfigureDrives(70);
    CloseGate();
    scanner.Start();
    OpenGate();
    Scanner copy(scanner);
    EXPECT_EQ(copy.GetScanProgress().drivesDone, 71);
    EXPECT_EQ(copy.GetTotalSize(), 3.0);
}

TEST_F(ScanRun, AnObjectThatGoesEndsItsScans)
{
    Write(L"a.txt", 3);
    auto other = std::make_unique<Scanner>();
    ScannerAccess::SetStartThread(*other, &StartGated);
    ConfigureDrives(70);
    other->SetBasicInfo(folder.Path(L"data.xml"), nullptr, nullptr);
    other->Start();
    const FSEntrySetPtr cache = ScannerAccess::Cache(*other);
    std::thread goes([&] { other.reset(); });
    OpenGate();
    goes.join();
    SUCCEED() << "the threads have ended: the heap is looked at after each test";
}

TEST_F(ScanRun, WithoutAThreadForADriveTheOthersGoOnByThemselves)
{
    Write(L"a.txt", 3);
    ConfigureDrives(2);
    CloseGate();
    g_refused = 1;
    scanner.Start(); // would wait for ever
    OpenGate();
    scanner.WaitForScans();
    EXPECT_EQ(scanner.GetScanProgress().drivesDone, 2);
    EXPECT_TRUE(IsCached(Tree(L"a.txt")));
}

TEST_F(ScanRun, OnceStoppedNothingIsScannedAnyMore)
{
    Write(L"a.txt", 3);
    scanner.Stop();
    StartOnTree();
    EXPECT_TRUE(ScannerAccess::Cache(scanner)->empty());
    EXPECT_FALSE(scanner.ScanPath(Tree(), true));
    scanner.Start();
    EXPECT_TRUE(ScannerAccess::Cache(scanner)->empty());
    scanner.AddPath(L"C:\\none\\", true);
    EXPECT_EQ(Total(), 0u) << "a recount runs again";
}

TEST_F(ScanRun, WheneverItIsStoppedItEndsAndKeepsWhatItHasFound)
{
    for (int i = 0; i < 60; ++i)
        Write((std::to_wstring(i % 6) + L"\\" + std::to_wstring(i)).c_str());
    Configure(FolderItem(Tree()));
    for (int round = 0; round < 25; ++round) {
        Scanner one(folder.Path(L"data.xml"), nullptr, nullptr);
        std::thread stopper([&one, round] {
            while (one.GetScanProgress().files < static_cast<unsigned>(round * 2)) {
            }
            one.Stop();
        });
        one.Start();
        stopper.join();
        EXPECT_GE(one.GetScanProgress().files, round * 2u);
        one.AddProfile(0);
        one.UpdateTotals();
        EXPECT_EQ(one.GetTotalSize(), static_cast<double>(one.GetScanProgress().files));
        EXPECT_EQ(one.GetScanProgress().drivesDone, 1);
    }
}

TEST_F(ScanRun, FilesMayVanishMeanwhile)
{
    for (int i = 0; i < 200; ++i)
        Write((std::to_wstring(i % 20) + L"\\" + std::to_wstring(i)).c_str());
    Configure(FolderItem(Tree()));
    CloseGate();
    std::thread remover([&] {
        while (g_started < 1) {
        }
        OpenGate();
        for (int i = 0; i < 20; ++i) {
            std::error_code ignored;
            std::filesystem::remove_all(Tree((std::to_wstring(i)).c_str()).GetString(), ignored);
        }
    });
    scanner.Start();
    remover.join();
    scanner.AddProfile(0);
    EXPECT_LE(Total(), 200u);
    EXPECT_EQ(Total(), scanner.GetScanProgress().files);
    // A folder that is still there when its reading fails, and gone a moment later, cannot be told from an unreadable
    // one.
    for (const auto& [path, why] : PassedOver())
        EXPECT_TRUE(why == PathOutcome::Missing || why == PathOutcome::Unreadable) << Narrow(path);
}

} // namespace

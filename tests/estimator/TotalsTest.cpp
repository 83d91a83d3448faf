// Recounting from the cache.
#include "tests/estimator/ScannerFixture.h"
#include "tests/support/ImportedCall.h"

#include <cmath>
#include <thread>

namespace
{

class Totals : public ScannerFixture
{
protected:
    // A selection on a drive that is not there: the disk is only asked whether there is a folder.
    void Find(const std::wstring& name, std::uint64_t size = 1)
    {
        scanner.FileFoundCallback((L"B:\\" + name).c_str(), size);
    }
    void Select() { ScannerAccess::Selection(scanner).AddSingleFilter(FolderRuleOf(L"B:\\"), true); }
    static FilterPtr FolderRuleOf(const wchar_t* path)
    {
        auto rule = std::make_shared<Filter>();
        rule->path = path;
        rule->type = 1;
        rule->includeSub = true;
        rule->incEx = WatcherEnum::Include;
        return rule;
    }
};

TEST_F(Totals, AnEmptyCacheHoldsNothing)
{
    Select();
    scanner.UpdateTotals();
    EXPECT_EQ(scanner.GetTotalSize(), 0.0);
    EXPECT_EQ(scanner.GetTotalCost(), 0.0);
    EXPECT_FALSE(scanner.IsCalculating());
}

TEST_F(Totals, AFileThatIsFoundTwiceCountsTwiceUntilARecount)
{
    Select();
    Find(L"a", 5);
    Find(L"A", 7);
    EXPECT_EQ(scanner.GetTotalSize(), 12.0);
    EXPECT_EQ(Total(), 5u) << "the first find stays in the cache";
    EXPECT_EQ(Total(), 5u);
}

TEST_F(Totals, RunningTotalsCountWhatTheSelectionLeavesOut)
{
    Find(L"a", 5);
    EXPECT_EQ(scanner.GetTotalSize(), 5.0);
    EXPECT_EQ(Total(), 0u);
}

TEST_F(Totals, TheLargestSizesArePositive)
{
    Select();
    Find(L"a", 1ull << 63);
    EXPECT_EQ(scanner.GetTotalSize(), std::ldexp(1.0, 63));
    Find(L"b", (1ull << 63) - 1);
    EXPECT_EQ(scanner.GetTotalSize(), std::ldexp(1.0, 64));
    scanner.UpdateTotals();
    EXPECT_EQ(scanner.GetTotalSize(), std::ldexp(1.0, 64));
}

TEST_F(Totals, AFileThatIsAFolderByNowIsJudgedAsOne)
{
    Write(L"thing", 5);
    scanner.AddPath(Tree(L"thing"), false); // a single file
    EXPECT_EQ(Total(), 5u);
    std::filesystem::remove(Tree(L"thing").GetString());
    std::filesystem::create_directories(Tree(L"thing").GetString());
    EXPECT_EQ(Total(), 0u) << "the rule speaks of a path without a backslash";
    ScannerAccess::Selection(scanner).AddSingleFilter(FolderRuleOf(Tree(L"thing\\")), true);
    EXPECT_EQ(Total(), 5u);
}

TEST_F(Totals, AFileThatVanishesAfterTheScanStillCounts)
{
    Write(L"a", 5);
    scanner.AddPath(Tree(), true);
    std::filesystem::remove(Tree(L"a").GetString());
    EXPECT_EQ(Total(), 5u);
}

TEST_F(Totals, OnlyFilesAreJudged)
{
    Select();
    auto only = FolderRuleOf(L"B:\\dir\\");
    only->incEx = WatcherEnum::Exclude;
    only->exclude = true;
    only->includeSub = false; // speaks of what lies in the folder itself
    ScannerAccess::Selection(scanner).AddSingleFilter(only, true);
    Find(L"dir\\a", 1);
    Find(L"dir\\sub\\b", 2);
    EXPECT_EQ(Total(), 3u);
}

TEST_F(Totals, OnASharePathsArePutTogetherAgain)
{
    ScannerAccess::Selection(scanner).AddSingleFilter(FolderRuleOf(L"\\\\none\\share\\"), true);
    scanner.FileFoundCallback(L"\\\\none\\share\\dir\\a", 4);
    EXPECT_EQ(Total(), 4u);
}

TEST_F(Totals, AnAbortedRecountKeepsWhatItHasCounted)
{
    Select();
    Find(L"a", 5);
    EXPECT_EQ(Total(), 5u);
    scanner.AbortUpdate();
    ScannerAccess::Recount(scanner); // no entry is looked at any more
    EXPECT_EQ(scanner.GetTotalSize(), 5.0);
    EXPECT_FALSE(scanner.IsCalculating());
    EXPECT_EQ(Total(), 5u) << "the next one runs again";
}

// Each file is looked at on the disk once, before it is judged.
Scanner* g_aborted;
int g_untilAbort;
DWORD WINAPI AbortAtALook(LPCWSTR)
{
    if (--g_untilAbort == 0)
        g_aborted->AbortUpdate();
    SetLastError(ERROR_PATH_NOT_FOUND);
    return INVALID_FILE_ATTRIBUTES;
}

TEST_F(Totals, ARecountThatIsAbortedInTheMiddleKeepsThePartThatItHasCounted)
{
    Select();
    for (int i = 0; i < 50; ++i)
        Find(std::to_wstring(i % 5) + L"\\" + std::to_wstring(i), 3);
    g_aborted = &scanner;
    g_untilAbort = 20;
    {
        const ImportedCall look(nullptr, "GetFileAttributesW", AbortAtALook);
        scanner.UpdateTotals();
    }
    EXPECT_EQ(scanner.GetTotalSize(), 60.0);
    EXPECT_EQ(Total(), 150u);
}

TEST_F(Totals, AnAbortIsSeenBeforeTheNextFile)
{
    Select();
    for (int i = 0; i < 50; ++i)
        Find(std::to_wstring(i % 5) + L"\\" + std::to_wstring(i));
    for (int at = 1; at <= 50; ++at) {
        int told = 0;
        const bool whole = scanner.ForEachFile([&](const JudgedFile&) {
            if (++told == at)
                std::thread([&] { at % 2 ? scanner.AbortUpdate() : scanner.Stop(); }).join();
        });
        EXPECT_EQ(told, at);
        EXPECT_FALSE(whole);
    }
    EXPECT_EQ(Total(), 50u);
}

TEST_F(Totals, WheneverARecountIsAbortedItEndsAndIsNotCalculating)
{
    Select();
    for (int i = 0; i < 100; ++i)
        Find(std::to_wstring(i));
    for (int round = 0; round < 40; ++round) {
        std::atomic<bool> aborted{false};
        std::thread other([&, round] {
            while (!scanner.IsCalculating()) {
            }
            for (std::atomic<int> spin{0}; spin < round * 500; ++spin) {
            }
            round % 2 ? scanner.AbortUpdate() : scanner.Stop();
            aborted = true;
        });
        while (!aborted) {
            scanner.UpdateTotals();
            EXPECT_LE(scanner.GetTotalSize(), 100.0);
            EXPECT_FALSE(scanner.IsCalculating());
        }
        other.join();
    }
    EXPECT_EQ(Total(), 100u);
}

TEST_F(Totals, FindsOnManyThreadsAreAllCounted)
{
    Select();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 2000; ++i) {
                Find(L"own" + std::to_wstring(thread) + L"\\" + std::to_wstring(i % 40) + L"\\" + std::to_wstring(i),
                     3);
                Find(L"same\\" + std::to_wstring(i % 50) + L"\\" + std::to_wstring(i), 2);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(scanner.GetTotalSize(), 4 * 2000 * 5.0);
    EXPECT_EQ(Total(), 4 * 2000 * 3u + 2000 * 2u);
}

TEST_F(Totals, FindsOfACopyGoIntoTheSameCacheAtTheSameTime)
{
    Select();
    Scanner copy(scanner);
    std::thread other([&] {
        for (int i = 0; i < 5000; ++i)
            copy.FileFoundCallback((L"B:\\copy" + std::to_wstring(i)).c_str(), 1);
    });
    for (int i = 0; i < 5000; ++i)
        Find(std::to_wstring(i));
    other.join();
    EXPECT_EQ(Total(), 10000u);
}

TEST_F(Totals, TwoHundredThousandFilesAreRecounted)
{
    Select();
    auto small = FolderRuleOf(L"B:\\");
    small->mask = L"7";
    small->incEx = WatcherEnum::Exclude;
    ScannerAccess::Selection(scanner).AddSingleFilter(small, true);
    for (int i = 0; i < 200000; ++i)
        Find(L"Users\\Somebody\\" + std::to_wstring(i / 500) + L"\\" + std::to_wstring(i), 10);
    EXPECT_EQ(scanner.GetTotalSize(), 2000000.0);
    const Estimate estimate = scanner.GetEstimate();
    EXPECT_TRUE(estimate.whole);
    EXPECT_EQ(estimate.included, (SizeTotal{180000, 1800000}));
    ASSERT_EQ(estimate.leftOut.size(), 1u);
    EXPECT_EQ(estimate.leftOut[0].total, (SizeTotal{20000, 200000}));
}

TEST_F(Totals, AFindAsksNothingOfTheScanAndFoldersChangeNothing)
{
    SmartScanCaller& caller = scanner;
    EXPECT_TRUE(caller.ProgressCallback());
    scanner.Stop();
    EXPECT_TRUE(caller.ProgressCallback());
    caller.FolderFoundCallback(L"C:\\x\\");
    EXPECT_TRUE(ScannerAccess::Cache(scanner)->empty());
    EXPECT_EQ(scanner.GetTotalSize(), 0.0);
}

TEST_F(Totals, AFindThatNoDiskCanHaveCountsAndIsNotCached)
{
    scanner.FileFoundCallback(L"", 3);
    scanner.FileFoundCallback(L"C:\\?\\x", 4);
    EXPECT_EQ(scanner.GetTotalSize(), 7.0);
    EXPECT_TRUE(ScannerAccess::Cache(scanner)->empty());
}

int g_waits = 0;
int g_looks = 0;

DWORD WINAPI CountedWait(HANDLE handle, DWORD milliseconds)
{
    ++g_waits;
    return WaitForSingleObjectEx(handle, milliseconds, FALSE);
}
DWORD WINAPI CountedAttributes(LPCWSTR)
{
    ++g_looks;
    return FILE_ATTRIBUTE_NORMAL;
}

TEST_F(Totals, AFileIsOneQuestionToTheDiskAndNoOtherCallOfTheSystem)
{
    Select();
    const auto waitsOfARecount = [&] {
        const ImportedCall wait(nullptr, "WaitForSingleObject", CountedWait);
        const ImportedCall attributes(nullptr, "GetFileAttributesW", CountedAttributes);
        g_waits = g_looks = 0;
        scanner.UpdateTotals();
        return g_waits;
    };
    for (int i = 0; i < 10; ++i)
        Find(L"a" + std::to_wstring(i));
    const int few = waitsOfARecount();
    EXPECT_EQ(g_looks, 10);
    for (int i = 10; i < 500; ++i)
        Find(L"a" + std::to_wstring(i));
    EXPECT_EQ(waitsOfARecount(), few);
    EXPECT_EQ(g_looks, 500);
}

} // namespace

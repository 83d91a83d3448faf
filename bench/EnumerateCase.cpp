// The first enumeration of a tree, with nothing in the index, beside what it cannot do without: walking the tree and
// looking each path up in the index.
#include "bench/Case.h"
#include "bench/Result.h"
#include "bench/WatcherBench.h"
#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/OrbFilter.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <stdexcept>

namespace
{

constexpr int rounds = 11;

class Counter final : public SmartScanCaller
{
public:
    int files = 0;

    void FileFoundCallback(const wchar_t*, unsigned __int64) override { ++files; }
    bool ProgressCallback() override { return true; }
    void FolderFoundCallback(const wchar_t*) override {}
};

void Walk(const FileTree& tree)
{
    OrbFilter filter;
    filter.AddSingleFilter(RuleFor(tree), true);
    const KernelHandle abort(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Counter counter;
    filter.SmartScanDirectory(tree.root, L"*", false, &counter, abort.Get(), false);
    if (counter.files != tree.files)
        throw std::runtime_error("not all was walked");
}

void LookUp(const std::vector<CString>& files)
{
    for (const CString& file : files) {
        CachedDatum datum;
        if (CIndexDB::GetCachedData(CIndexDB::CalculateUuid(file), datum, 1))
            throw std::runtime_error("the index is not empty");
    }
}

// The best of all rounds.
class Stopwatch
{
public:
    template <typename Work>
    void Take(Work work)
    {
        const auto begin = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
        m_best = std::min(m_best, taken.count());
    }
    double Best() const { return m_best; }

private:
    double m_best = std::numeric_limits<double>::max();
};

void Enumerate()
{
    const FileTree tree = TreeOf(50'000);
    const std::vector<CString> files = tree.Files();
    WatcherBench bench(tree);
    Stopwatch enumeration, walk, lookUps;
    for (int round = 0; round < rounds; ++round) {
        bench.watcher.ClearNotifications();
        enumeration.Take([&] { bench.Enumerate(); });
        if (bench.watcher.GetTotalFilesInMem() < tree.files)
            throw std::runtime_error("not all was enumerated");
        walk.Take([&] { Walk(tree); });
        lookUps.Take([&] { LookUp(files); });
        while (bench.watcher.IsFirstTimeEnumRunning())
            Sleep(1);
    }
    Print({"enumerate",
           enumeration.Best() - lookUps.Best(),
           "ms",
           "the walk alone",
           walk.Best(),
           1.5,
           {{"files", tree.files}, {"folders", tree.folders}, {"of it look-ups, ms", lookUps.Best()}}});
}

const Case enumerate("enumerate", Enumerate);

} // namespace

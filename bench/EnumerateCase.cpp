// The first enumeration of a tree, with nothing in the index, beside what it cannot do without: walking the tree and
// looking each path up in the index.
#include "bench/Case.h"
#include "bench/Result.h"
#include "bench/Stopwatch.h"
#include "bench/WatcherBench.h"
#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/OrbFilter.h"

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

// The enumeration of a tree of new files, with an index of a million other items in memory, beside the bare list of
// each folder: a loop that decides nothing, keeps nothing and looks nothing up.
//
// The case does not show a cold disk, whose lists come slowly for both. Files that have not changed are measured by
// "daily".
#include "bench/BareWalk.h"
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/LoadedIndex.h"
#include "bench/WatcherBench.h"

namespace
{

void EnumerateNew(benchmark::State& state, WatcherBench& bench, const FileTree& tree)
{
    for (auto _ : state) {
        state.PauseTiming();
        while (bench.watcher.IsFirstTimeEnumRunning())
            Sleep(1);
        bench.watcher.ClearNotifications();
        state.ResumeTiming();
        bench.Enumerate();
        if (bench.watcher.GetTotalFilesInMem() < tree.files)
            state.SkipWithError("not all was enumerated");
    }
}

void ListAll(benchmark::State& state, const FileTree& tree)
{
    for (auto _ : state) {
        int files = 0;
        const auto take = [&](const std::wstring& path, const WIN32_FIND_DATAW&) {
            benchmark::DoNotOptimize(path.data());
            ++files;
        };
        WalkBareFolder(tree.root.GetString() + std::wstring(L"\\"), take);
        if (files != tree.files)
            state.SkipWithError("not all was listed");
    }
}

void Enumerate()
{
    const FileTree tree = TreeOf(50'000);
    const LoadedIndex index;
    WatcherBench bench(tree);
    bench.watcher.SetIndexDB(index.Database());
    Contest("enumerate", {{"files", tree.files}, {"folders", tree.folders}, {"items", LoadedIndex::Items}})
        .Ours([&](benchmark::State& state) { EnumerateNew(state, bench, tree); })
        .Against("the bare list of each folder", 1.5, [&](benchmark::State& state) { ListAll(state, tree); })
        .OnceARound()
        .Rounds(5)
        .Run();
}

const Case enumerate("enumerate", Enumerate);

} // namespace

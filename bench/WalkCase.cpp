// Walking a tree of many folders as the watcher walks it, with an event that may end it.
#include "bench/BareWalk.h"
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/FileTree.h"
#include "orbwatcher4/OrbFilter.h"
#include "support/Handle.h"

#include <filesystem>

namespace
{

// The result of a contender. Equal results show that all have met the same files.
struct Met {
    std::size_t files = 0;
    unsigned __int64 bytes = 0;
    bool operator==(const Met&) const = default;
};

class Counter final : public SmartScanCaller
{
public:
    Met met;

    void FileFoundCallback(const wchar_t*, unsigned __int64 size) override
    {
        ++met.files;
        met.bytes += size;
    }
    bool ProgressCallback() override { return true; }
    void FolderFoundCallback(const wchar_t*) override {}
};

Met WalkOurs(const FileTree& tree, bool recurse)
{
    OrbFilter filter;
    filter.AddSingleFilter(RuleFor(tree), true);
    const KernelHandle abort(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Counter counter;
    filter.SmartScanDirectory(tree.root, L"*", false, &counter, abort.Get(), recurse);
    return counter.met;
}

Met WalkSelection(const FileTree& tree) { return WalkOurs(tree, false); }
Met WalkAll(const FileTree& tree) { return WalkOurs(tree, true); }

Met WalkBare(const FileTree& tree)
{
    Met met;
    const auto take = [&](const std::wstring& path, const WIN32_FIND_DATAW& data) {
        ++met.files;
        met.bytes += static_cast<unsigned __int64>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
        benchmark::DoNotOptimize(path.data());
    };
    WalkBareFolder(tree.root.GetString() + std::wstring(L"\\"), take);
    return met;
}

Met WalkStandard(const FileTree& tree)
{
    Met met;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.root.GetString()))
        if (!entry.is_directory()) {
            ++met.files;
            met.bytes += entry.file_size();
        }
    return met;
}

Contest::Work Walking(Met (*walk)(const FileTree&), const FileTree& tree)
{
    return [=](benchmark::State& state) {
        const Met all{static_cast<std::size_t>(tree.files), static_cast<unsigned __int64>(tree.files) * 4};
        for (auto _ : state)
            if (walk(tree) != all)
                state.SkipWithError("not all was met");
    };
}

void Walk(const char* name, Met (*ours)(const FileTree&))
{
    const FileTree tree = TreeOf(50'000);
    Contest(name, {{"files", tree.files}, {"folders", tree.folders}})
        .Ours(Walking(ours, tree))
        .Against("bare FindFirstFileExW and FindNextFileW", 1.1, Walking(WalkBare, tree))
        .Against("std::filesystem::recursive_directory_iterator", 1, Walking(WalkStandard, tree))
        .Rounds(11)
        .OnceARound()
        .Run();
}

const Case walkSelection("walk", [] { Walk("walk", WalkSelection); });
const Case walkAll("walk-all", [] { Walk("walk-all", WalkAll); });

} // namespace

// An enumeration of a tree in which nothing has changed since its backup, as each day brings it: beside the list of
// each folder and a map that compares the listed times, and beside the same with one question about each file. The list
// alone proves nothing, because it may be behind the file.
#include "bench/BareWalk.h"
#include "bench/Case.h"
#include "bench/IndexItems.h"
#include "bench/Result.h"
#include "bench/Stopwatch.h"
#include "bench/WatcherBench.h"
#include "support/FileTimes.h"
#include "tests/support/TempFolder.h"

#include <stdexcept>
#include <unordered_map>

namespace
{

constexpr int rounds = 5;
constexpr std::size_t items = 1'000'000;

using Times = std::unordered_map<std::wstring, std::uint64_t>;

std::uint64_t Value(const FILETIME& time) { return time.dwLowDateTime | std::uint64_t(time.dwHighDateTime) << 32; }

// The files of the tree as they are now, and many others.
std::vector<ItemDatum> ItemsOf(const FileTree& tree)
{
    std::vector<ItemDatum> all;
    all.reserve(items);
    for (const CString& file : tree.Files()) {
        ItemDatum item;
        item.path = file;
        if (!GetFileTimes(file, false, nullptr, &item.modificationTime))
            throw std::runtime_error("the tree is not whole");
        all.push_back(item);
    }
    for (std::size_t number = 0; all.size() < items; ++number)
        all.push_back(IndexItem(number));
    return all;
}

// Compares the listed time of each file with the map's, and asks each file for its time when it is `toBeAsked`.
void Compare(const FileTree& tree, const Times& times, bool toBeAsked)
{
    int unchanged = 0;
    const auto take = [&](const std::wstring& path, const WIN32_FIND_DATAW& data) {
        const auto known = times.find(path);
        std::uint64_t time = Value(data.ftLastWriteTime);
        if (known != times.end() && (!toBeAsked || ReadModificationTime(path.c_str(), time)))
            unchanged += time == known->second;
    };
    WalkBareFolder(tree.root.GetString() + std::wstring(L"\\"), take);
    if (unchanged != tree.files)
        throw std::runtime_error("not all is unchanged");
}

std::uint64_t Unchanged(COrbWatcher& watcher)
{
    return watcher.GetEnumerationProgress().outcomes[static_cast<std::size_t>(PathOutcome::Unchanged)];
}

void EnumerateDaily()
{
    const FileTree tree = TreeOf(200'000);
    const TempFolder folder;
    Times times;
    CIndexDB database;
    database.SetDBFilePath(folder.Path(L"Index.db"));
    {
        const std::vector<ItemDatum> all = ItemsOf(tree);
        if (!database.Open(1, 0, 0) || !database.RecordItems(all) || !database.LoadCache())
            throw std::runtime_error("the index cannot be made");
        for (const ItemDatum& item : all)
            times.emplace(item.path.GetString(), item.modificationTime);
    }
    WatcherBench bench(tree);
    bench.watcher.SetIndexDB(folder.Path(L"Index.db"));
    Stopwatch enumeration, list, questions;
    for (int round = 0; round < rounds; ++round) {
        bench.watcher.ClearNotifications();
        enumeration.Take([&] { bench.Enumerate(); });
        if (Unchanged(bench.watcher) != static_cast<std::uint64_t>(tree.files))
            throw std::runtime_error("not all was found unchanged");
        list.Take([&] { Compare(tree, times, false); });
        questions.Take([&] { Compare(tree, times, true); });
        while (bench.watcher.IsFirstTimeEnumRunning())
            Sleep(1);
    }
    const Sizes sizes = {{"files", tree.files}, {"folders", tree.folders}, {"items", items}};
    Print({"daily", enumeration.Best(), "ms", "the bare list and a map", list.Best(), 2, sizes});
    Print({"daily", enumeration.Best(), "ms", "the same with one question a file", questions.Best(), 1.5, sizes});
    CIndexDB::ClearCache();
}

const Case daily("daily", EnumerateDaily);

} // namespace

// The whole road of new files: each one is added and modified twice, and is handed out. The changes come as what the
// system writes into a watch's buffer, through the engine and its notifier. Beside them one attribute call for each
// file and a hash map; and the same with the file opened once, as each hand-out must open it.
//
// The case does not show the time that the file system takes to report, and the service that backs up what is handed
// out.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/DataOfItsOwn.h"
#include "bench/FreshIndexes.h"
#include "bench/PreparedReads.h"
#include "bench/WatcherBench.h"
#include "directory_changes/DirectoryChanges.h"
#include "mfc/CEvent.h"
#include "tests/orbwatcher4/WatcherAccess.h"

#include <stdexcept>
#include <string>
#include <unordered_map>

namespace
{

constexpr int files = 50'000;
constexpr int changesAFile = 3;
constexpr std::size_t items = 100'000; // others, in the index

// Gives the watcher each change, and tells when all have come.
class Arrivals final : public CDirectoryChangeHandler
{
public:
    explicit Arrivals(COrbWatcher& watcher) : m_handler(WatcherAccess::Handler(watcher)) {}

    void OnFileAdded(const wchar_t* path) override
    {
        m_handler.OnFileAdded(path);
        CountOne();
    }
    void OnFileModified(const wchar_t* path) override
    {
        m_handler.OnFileModified(path);
        CountOne();
    }
    bool WaitForAll() { return m_all.Lock(600'000); }

private:
    void CountOne()
    {
        if (++m_count == files * changesAFile)
            m_all.SetEvent();
    }

    ChangeHandler& m_handler;
    int m_count = 0; // by the notifier's thread
    CEvent m_all{false, true};
};

// The changes of all files, a read for each folder.
std::vector<PreparedReads::Changes> ChangesOf(const FileTree& tree)
{
    std::vector<PreparedReads::Changes> reads;
    CString folder;
    RecordBuffer buffer;
    const auto finish = [&] {
        if (!buffer.Bytes().empty())
            reads.push_back(std::exchange(buffer, {}).Bytes());
    };
    for (const CString& file : tree.Files()) {
        const CString name = file.Mid(tree.root.GetLength() + 1);
        if (const CString its = name.Left(name.ReverseFind(L'\\')); its != folder) {
            finish();
            folder = its;
        }
        for (const std::uint32_t action : {FILE_ACTION_ADDED, FILE_ACTION_MODIFIED, FILE_ACTION_MODIFIED})
            buffer.Add(action, name.GetString());
    }
    finish();
    return reads;
}

int HandOutAll(COrbWatcher& watcher)
{
    int handedOut = 0;
    QueueDatum datum;
    while (watcher.GetSingleNotification(nullptr, datum))
        ++handedOut;
    return handedOut;
}

void WholeRoad(benchmark::State& state, const FileTree& tree, COrbWatcher& watcher)
{
    const std::vector<PreparedReads::Changes> reads = ChangesOf(tree);
    for (auto _ : state) {
        state.PauseTiming();
        watcher.ClearNotifications();
        PreparedReads io;
        Arrivals arrivals(watcher);
        CDirectoryChangeWatcher engine(io, false, 1);
        if (engine.WatchDirectory(tree.root, &arrivals) != ERROR_SUCCESS)
            return state.SkipWithError("the tree cannot be watched");
        state.ResumeTiming();
        for (const PreparedReads::Changes& changes : reads)
            io.Give(changes);
        if (!arrivals.WaitForAll() || HandOutAll(watcher) != files)
            return state.SkipWithError("not all was handed out");
        state.PauseTiming();
        engine.UnwatchAllDirectories();
        state.ResumeTiming();
    }
}

std::uint64_t TimeOf(const CString& path)
{
    const FileHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !GetFileInformationByHandle(file.Get(), &information))
        throw std::runtime_error("a file cannot be opened");
    return information.ftLastWriteTime.dwLowDateTime | std::uint64_t(information.ftLastWriteTime.dwHighDateTime) << 32;
}

// Asks for each file when it is added, and counts its changes. `toBeOpened`: also opens each, as a hand-out does.
void AskAndCount(benchmark::State& state, const std::vector<CString>& paths, bool toBeOpened)
{
    for (auto _ : state) {
        std::unordered_map<std::wstring, int> changes;
        for (const CString& path : paths) {
            WIN32_FILE_ATTRIBUTE_DATA data;
            if (!GetFileAttributesExW(path, GetFileExInfoStandard, &data))
                return state.SkipWithError("a file is missing");
            for (int change = 0; change < changesAFile; ++change)
                ++changes[path.GetString()];
        }
        int counted = 0;
        for (const auto& [path, count] : changes)
            counted += toBeOpened && TimeOf(CString(std::wstring_view(path))) == 0 ? 0 : count;
        if (counted != files * changesAFile)
            return state.SkipWithError("not all was counted");
    }
}

void Road()
{
    const FileTree tree = TreeOf(files);
    const std::vector<CString> paths = tree.Files();
    const TempFolder folder;
    const DataOfItsOwn data(folder);
    g_OrbLog.SetLevel(LogLevel::Error);
    const FreshIndexes indexes(items);
    const CString database = indexes.MakeFresh();
    CIndexDB index;
    index.SetDBFilePath(database);
    if (!index.Open(1, 0, 0) || !index.LoadCache())
        throw std::runtime_error("the index cannot be loaded");
    WatcherBench bench(tree);
    bench.watcher.SetIndexDB(database);
    Contest("road", {{"files", files}, {"changes", files * changesAFile}, {"items", items}})
        .Ours([&](benchmark::State& state) { WholeRoad(state, tree, bench.watcher); })
        .Against("one attribute call for each file, and a hash map", 2,
                 [&](benchmark::State& state) { AskAndCount(state, paths, false); })
        .Against("the same, with each file opened once", 2,
                 [&](benchmark::State& state) { AskAndCount(state, paths, true); })
        .OnceARound()
        .Rounds(1)
        .Run();
    CIndexDB::ClearCache();
}

const Case road("road", Road);

} // namespace

// A service with a million items in its index and a million pending files, through a daily enumeration: the start,
// beside a scan of the table of items, and the most memory that the process ever had.
//
// The enumeration finds 200,000 files unchanged. The case does not show the memory of the system's caches, nor that of
// a backup.
#include "bench/BareWalk.h"
#include "bench/Case.h"
#include "bench/DataOfItsOwn.h"
#include "bench/IndexItems.h"
#include "bench/MemoryUse.h"
#include "bench/PendingChanges.h"
#include "bench/PlainDatabase.h"
#include "bench/Result.h"
#include "bench/Stopwatch.h"
#include "bench/WatcherBench.h"
#include "support/Hashes.h"

#include <algorithm>
#include <stdexcept>

namespace
{

constexpr int rounds = 3;
constexpr int items = 1'000'000;
constexpr int pending = 1'000'000;

void Require(bool good, const char* what)
{
    if (!good)
        throw std::runtime_error(what);
}

// The files of the tree with their listed times: nothing has written to them since they were listed.
std::vector<ItemDatum> FilesOf(const FileTree& tree)
{
    std::vector<ItemDatum> files;
    const auto take = [&](const std::wstring& path, const WIN32_FIND_DATAW& data) {
        const FILETIME& time = data.ftLastWriteTime;
        ItemDatum& file = files.emplace_back();
        file.path = path.c_str();
        file.modificationTime = time.dwLowDateTime | std::uint64_t(time.dwHighDateTime) << 32;
    };
    WalkBareFolder(tree.root.GetString() + std::wstring(L"\\"), take);
    Require(files.size() == static_cast<std::size_t>(tree.files), "the tree is not whole");
    return files;
}

// Writes an index without holding its items in memory, because the most memory ever is a result of this case.
void MakeIndex(const CString& path, const FileTree& tree)
{
    {
        CIndexDB database;
        database.SetDBFilePath(path);
        Require(database.Open(1, 0, 0), "the index cannot be made");
    }
    const std::vector<ItemDatum> files = FilesOf(tree);
    const auto itemOf = [&](std::size_t number) {
        return number < files.size() ? files[number] : IndexItem(number - files.size());
    };
    std::vector<std::pair<std::int64_t, std::size_t>> byKey;
    byKey.reserve(items);
    for (std::size_t number = 0; number < items; ++number)
        byKey.emplace_back(CIndexDB::CalculateUuid(itemOf(number).path), number);
    std::ranges::sort(byKey);
    PlainDatabase database(path);
    PlainDatabase::Statement insert(database, "INSERT INTO items(id, parent, kind, modified, flags, delayed, path)"
                                              " VALUES(?, ?, 0, ?, 0, 0, ?)");
    database.Run("BEGIN IMMEDIATE");
    for (const auto& [id, number] : byKey) {
        const ItemDatum item = itemOf(number);
        const std::wstring_view text = item.path.View();
        insert.Run({id, static_cast<std::int64_t>(PathHash64(text.substr(0, text.rfind(L'\\')))),
                    static_cast<std::int64_t>(item.modificationTime)},
                   text);
    }
    database.Run("COMMIT");
}

void Start(CIndexDB& index, const CString& path)
{
    index.SetDBFilePath(path);
    Require(index.Open(1, 0, 0) && index.LoadCache(), "the index cannot be loaded");
}

void ScanTable(const CString& path)
{
    PlainDatabase database(path);
    std::size_t rows = 0, units = 0;
    PlainDatabase::Statement(database, "SELECT id, modified, kind, flags, delayed, path FROM items")
        .Read([&](sqlite3_stmt* row) {
            for (int number = 0; number < 5; ++number)
                benchmark::DoNotOptimize(sqlite3_column_int64(row, number));
            const auto* const text = static_cast<const wchar_t*>(sqlite3_column_text16(row, 5));
            units += std::wstring_view(text).size();
            ++rows;
        });
    Require(rows == items && units > rows, "not all rows were read");
}

void AddPending(COrbWatcher& watcher)
{
    for (std::size_t number = 0; number < pending; ++number)
        PutPending(watcher, CString((L"D" + ItemPath(number).substr(1)).c_str()), NotificationKind::Modified);
}

void EnumerateDaily(WatcherBench& bench, const FileTree& tree)
{
    bench.Enumerate();
    const std::uint64_t unchanged =
        bench.watcher.GetEnumerationProgress().outcomes[static_cast<std::size_t>(PathOutcome::Unchanged)];
    Require(unchanged == static_cast<std::uint64_t>(tree.files), "not all was found unchanged");
    while (bench.watcher.IsFirstTimeEnumRunning())
        Sleep(1);
    // The folders of the tree are pending now, too.
    Require(bench.watcher.GetTotalFilesInMem() >= pending, "not all is pending any more");
}

void RunWhole()
{
    const FileTree tree = TreeOf(200'000);
    const TempFolder folder;
    const DataOfItsOwn data(folder);
    g_OrbLog.SetLevel(LogLevel::Error);
    const CString path = folder.Path(L"Index.db");
    MakeIndex(path, tree);
    const std::uint64_t ofSetUp = PeakOfMemory();
    CIndexDB index;
    Stopwatch start, scan;
    for (int round = 0; round < rounds; ++round) {
        CIndexDB::ClearCache();
        index.Close();
        start.Take([&] { Start(index, path); });
        scan.Take([&] { ScanTable(path); });
    }
    WatcherBench bench(tree);
    bench.watcher.SetIndexDB(path);
    AddPending(bench.watcher);
    EnumerateDaily(bench, tree);
    const Sizes sizes = {{"items", items}, {"pending files", pending}, {"files", tree.files}};
    Print({"whole-start", start.Best(), "ms", "a scan of the table", scan.Best(), 2, sizes});
    const auto megabytes = [](std::uint64_t bytes) { return static_cast<double>(bytes) / 1e6; };
    Print({"whole-memory",
           megabytes(PeakOfMemory()),
           "MB",
           "",
           {},
           300,
           {{"items", items},
            {"pending files", pending},
            {"files", tree.files},
            {"megabytes at the end", megabytes(MemoryInUse())},
            {"most megabytes of the set-up", megabytes(ofSetUp)}}});
    CIndexDB::ClearCache();
}

const Case whole("whole", RunWhole);

} // namespace

// Items that a service records after a first backup, in batches as the host commits them: beside inserts into the same
// tables, sorted by their paths, in one transaction of SQLite alone.
//
// The case does not show the hand-out of the items, and not the pause after which a batch that is not full is
// committed. ORB_RECORD_ITEMS makes it smaller.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/IndexItems.h"
#include "bench/PlainDatabase.h"
#include "host/RecordBatch.h"
#include "support/CaseFold.h"
#include "support/Hashes.h"
#include "tests/support/FromEnvironment.h"
#include "tests/support/TempFolder.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace
{

void Require(bool good)
{
    if (!good)
        throw std::runtime_error("the index cannot be written");
}

// Makes an index without items in its place, and returns its path.
CString MakeEmptyIndex(const TempFolder& folder)
{
    const CString path = folder.Path(L"Index.db");
    for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
        DeleteFileW(path + ending);
    CIndexDB database;
    database.SetDBFilePath(path);
    Require(database.Open(1, 0, 0));
    return path;
}

void Ours(benchmark::State& state, const TempFolder& folder, const std::vector<ItemDatum>& items)
{
    for (auto _ : state) {
        state.PauseTiming();
        CIndexDB database;
        database.SetDBFilePath(MakeEmptyIndex(folder));
        Require(database.Open(1, 0, 0) && database.LoadCache());
        std::size_t recorded = 0;
        RecordBatch batch;
        state.ResumeTiming();
        for (const ItemDatum& item : items) {
            batch.Add(item, 0);
            if (batch.IsDue(0))
                recorded += batch.Commit(database).recorded.size();
        }
        recorded += batch.Commit(database).recorded.size();
        state.PauseTiming();
        Require(recorded == items.size());
        database.Close();
        CIndexDB::ClearCache();
        state.ResumeTiming();
    }
}

struct Row {
    std::int64_t id;
    std::int64_t parent;
    const ItemDatum* item;
};

std::vector<Row> SortedRows(const std::vector<ItemDatum>& items)
{
    std::vector<Row> rows;
    rows.reserve(items.size());
    for (const ItemDatum& item : items) {
        const auto parent = PathHash64(item.path.View().substr(0, item.path.View().rfind(L'\\')));
        rows.push_back(
            {static_cast<std::int64_t>(CIndexDB::CalculateUuid(item.path)), static_cast<std::int64_t>(parent), &item});
    }
    std::ranges::sort(rows, [](const Row& left, const Row& right) {
        return CompareNoCase(left.item->path.View(), right.item->path.View()) < 0;
    });
    return rows;
}

void SqliteAlone(benchmark::State& state, const TempFolder& folder, const std::vector<ItemDatum>& items)
{
    for (auto _ : state) {
        state.PauseTiming();
        PlainDatabase database(MakeEmptyIndex(folder));
        state.ResumeTiming();
        const std::vector<Row> rows = SortedRows(items);
        PlainDatabase::Statement insert(database, "INSERT INTO items(id, parent, kind, modified, flags, delayed, path)"
                                                  " VALUES(?, ?, ?, ?, ?, ?, ?)");
        database.Run("BEGIN IMMEDIATE");
        for (const Row& row : rows)
            insert.Run({row.id, row.parent, row.item->kind, static_cast<std::int64_t>(row.item->modificationTime),
                        row.item->flags, row.item->delayedUntil},
                       row.item->path.View());
        database.Run("COMMIT");
    }
}

void RecordAfterBackup()
{
    const std::size_t count = FromEnvironment("ORB_RECORD_ITEMS", 1'000'000);
    const TempFolder folder;
    std::vector<ItemDatum> items;
    items.reserve(count);
    for (std::size_t number = 0; number < count; ++number)
        items.push_back(IndexItem(number));
    Contest("record", {{"items", double(count)}, {"items a batch", double(RecordBatch::MostItems)}})
        .Ours([&](benchmark::State& state) { Ours(state, folder, items); })
        .Against("SQLite, the same rows sorted by their paths, in one transaction", 1.5,
                 [&](benchmark::State& state) { SqliteAlone(state, folder, items); })
        .OnceARound()
        .Rounds(1)
        .Run();
}

const Case record("record", RecordAfterBackup);

} // namespace

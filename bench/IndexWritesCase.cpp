// Delete records on their way into the index, as the processing of deletions writes them, beside SQLite alone. Both
// sort the records by their keys before they write them, so that each page of the tables is visited once.
//
// The case does not show an index that is much larger than the page cache, nor a disk that is slow to confirm a commit.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/FreshIndexes.h"
#include "bench/PlainDatabase.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace
{

constexpr std::size_t records = 100'000;

void Require(bool good)
{
    if (!good)
        throw std::runtime_error("the index cannot be written");
}

// Of files that the index holds, in the order in which a walk over what is pending comes upon them.
std::vector<DeleteDatum> Deletions()
{
    std::vector<DeleteDatum> deletions;
    for (std::size_t number = 0; number < records; ++number)
        deletions.push_back({CIndexDB::CalculateUuid(ItemPath(number).c_str()), 133'000'000'000'000'000ull, 1});
    return deletions;
}

void Ours(benchmark::State& state, const FreshIndexes& indexes, const std::vector<DeleteDatum>& deletions)
{
    for (auto _ : state) {
        state.PauseTiming();
        CIndexDB database;
        database.SetDBFilePath(indexes.MakeFresh());
        Require(database.Open(1, 0, 0) && database.LoadCache());
        SettingsDatum job;
        job.jobId = 1;
        state.ResumeTiming();
        Require(database.BeginBatch() && database.Insert(job));
        for (const DeleteDatum& deletion : deletions)
            Require(database.InsertEx(deletion, 0, nullptr, false));
        job.flags = SettingsDatum::Completed;
        Require(database.Update(job) && database.CommitBatch());
        state.PauseTiming();
        Require(database.GetDeletes(1).size() == records);
        database.Close();
        CIndexDB::ClearCache();
        state.ResumeTiming();
    }
}

std::vector<DeleteDatum> SortedByKey(std::vector<DeleteDatum> deletions)
{
    std::sort(deletions.begin(), deletions.end(), [](const DeleteDatum& left, const DeleteDatum& right) {
        return static_cast<std::int64_t>(left.id) < static_cast<std::int64_t>(right.id);
    });
    return deletions;
}

// Each record with what is written about its item, or the records alone.
void SqliteAlone(benchmark::State& state, const FreshIndexes& indexes, const std::vector<DeleteDatum>& deletions,
                 bool mark)
{
    for (auto _ : state) {
        state.PauseTiming();
        PlainDatabase database(indexes.MakeFresh());
        state.ResumeTiming();
        {
            const std::vector<DeleteDatum> sorted = SortedByKey(deletions);
            PlainDatabase::Statement insert(database,
                                            "INSERT OR IGNORE INTO deletes(job, item, deleted) VALUES(?, ?, ?)");
            PlainDatabase::Statement insertMark(database, "INSERT OR IGNORE INTO gone(item) VALUES(?)");
            database.Run("BEGIN IMMEDIATE");
            for (const DeleteDatum& deletion : sorted) {
                const auto id = static_cast<std::int64_t>(deletion.id);
                insert.Run({deletion.jobId, id, static_cast<std::int64_t>(deletion.deletionTime)});
                if (mark)
                    insertMark.Run({id});
            }
            database.Run("COMMIT");
        }
    }
}

void WriteDeleteRecords()
{
    const FreshIndexes indexes(records);
    const std::vector<DeleteDatum> deletions = Deletions();
    Contest("index-writes", {{"records", records}, {"items", records}})
        .Ours([&](benchmark::State& state) { Ours(state, indexes, deletions); })
        .Against("SQLite, the same writes, sorted", 1.5,
                 [&](benchmark::State& state) { SqliteAlone(state, indexes, deletions, true); })
        .Against("SQLite, the sorted records, items not marked", 1.5,
                 [&](benchmark::State& state) { SqliteAlone(state, indexes, deletions, false); })
        .OnceARound()
        .Run();
}

const Case writeDeleteRecords("index-writes", WriteDeleteRecords);

} // namespace

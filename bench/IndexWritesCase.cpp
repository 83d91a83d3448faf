// Delete records on their way into the index, as the processing of deletions writes them, against SQLite alone.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/IndexItems.h"
#include "tests/support/TempFolder.h"

#include <sqlite3.h>

#include <windows.h>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

namespace
{

constexpr std::size_t records = 100'000;
constexpr const wchar_t* databaseName = L"Index.db";
constexpr const wchar_t* freshName = L"Fresh.db";

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

class Indexes
{
public:
    Indexes()
    {
        CIndexDB database;
        database.SetDBFilePath(m_folder.Path(freshName));
        std::vector<ItemDatum> items;
        for (std::size_t number = 0; number < records; ++number)
            items.push_back(IndexItem(number));
        Require(database.Open(1, 0, 0) && database.RecordItems(items));
    }

    // Makes a new database without content.
    CString MakeFresh() const
    {
        const CString path = m_folder.Path(databaseName);
        for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
            DeleteFileW(path + ending);
        Require(CopyFileW(m_folder.Path(freshName), path, TRUE) != FALSE);
        return path;
    }

private:
    TempFolder m_folder;
};

void Ours(benchmark::State& state, const Indexes& indexes, const std::vector<DeleteDatum>& deletions)
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

// SQLite with the pragmas that the index is opened with.
class Plain
{
public:
    explicit Plain(const CString& path)
    {
        sqlite3* opened = nullptr;
        Require(sqlite3_open16(path.GetString(), &opened) == SQLITE_OK);
        m_database.reset(opened);
        // The order of paths is asked for by the table, and by nothing that is done here.
        sqlite3_create_collation_v2(
            opened, "ORB_PATH", SQLITE_UTF16LE, nullptr, [](void*, int, const void*, int, const void*) { return 0; },
            nullptr);
        Run("PRAGMA cache_size=-65536");
        Run("PRAGMA journal_mode=WAL");
    }
    void Run(const char* sql) { Require(sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK); }

    class Statement
    {
    public:
        Statement(Plain& plain, const char* sql)
        {
            sqlite3_stmt* statement = nullptr;
            Require(sqlite3_prepare_v2(plain.m_database.get(), sql, -1, &statement, nullptr) == SQLITE_OK);
            m_statement.reset(statement);
        }
        void Run(std::initializer_list<std::int64_t> values)
        {
            int index = 0;
            for (const std::int64_t value : values)
                sqlite3_bind_int64(m_statement.get(), ++index, value);
            Require(sqlite3_step(m_statement.get()) == SQLITE_DONE);
            sqlite3_reset(m_statement.get());
        }

    private:
        struct Finalize {
            void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
        };
        std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
    };

private:
    struct Close {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, Close> m_database;
};

// Each record with what is written about its item, or the records alone.
void SqliteAlone(benchmark::State& state, const Indexes& indexes, const std::vector<DeleteDatum>& deletions, bool mark)
{
    for (auto _ : state) {
        state.PauseTiming();
        Plain database(indexes.MakeFresh());
        state.ResumeTiming();
        {
            Plain::Statement insert(database, "INSERT OR IGNORE INTO deletes(job, item, deleted) VALUES(?, ?, ?)");
            Plain::Statement insertMark(database, "INSERT OR IGNORE INTO gone(item) VALUES(?)");
            database.Run("BEGIN IMMEDIATE");
            for (const DeleteDatum& deletion : deletions) {
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
    const Indexes indexes;
    const std::vector<DeleteDatum> deletions = Deletions();
    Contest("index-writes", {{"records", records}, {"items", records}})
        .Ours([&](benchmark::State& state) { Ours(state, indexes, deletions); })
        .Against("SQLite, the same writes prepared once", 1.5,
                 [&](benchmark::State& state) { SqliteAlone(state, indexes, deletions, true); })
        .Against("SQLite, one prepared statement, items not marked", 1.5,
                 [&](benchmark::State& state) { SqliteAlone(state, indexes, deletions, false); })
        .OnceARound()
        .Run();
}

const Case writeDeleteRecords("index-writes", WriteDeleteRecords);

} // namespace

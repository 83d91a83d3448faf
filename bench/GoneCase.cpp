// Deletions on their way into the index: of files, each of which is pending, and of one folder that holds as many.
// Beside them one question to the disk for each file, and SQLite alone.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/FreshIndexes.h"
#include "bench/PendingChanges.h"
#include "bench/PlainDatabase.h"

#include <algorithm>
#include <stdexcept>

namespace
{

constexpr std::size_t gone = 100'000;

std::vector<CString> Files()
{
    std::vector<CString> paths;
    for (std::size_t number = 0; number < gone; ++number)
        paths.emplace_back(ItemPath(number).c_str());
    return paths;
}

// Processes the deletions of these paths.
void Ours(benchmark::State& state, const FreshIndexes& indexes, const std::vector<CString>& paths)
{
    COrbWatcher watcher(false);
    watcher.Init();
    for (auto _ : state) {
        state.PauseTiming();
        const CString path = indexes.MakeFresh();
        CIndexDB index;
        index.SetDBFilePath(path);
        if (!index.Open(1, 0, 0) || !index.LoadCache())
            state.SkipWithError("the index cannot be loaded");
        watcher.SetIndexDB(path);
        for (const CString& deleted : paths)
            PutPending(watcher, deleted, NotificationKind::Deleted);
        state.ResumeTiming();
        watcher.ImmediateProcessDeletedFiles();
        state.PauseTiming();
        if (watcher.GetTotalFilesInMem() != 0 || index.GetDeletes(1).size() != gone)
            state.SkipWithError("not all deletions were recorded");
        index.Close();
        CIndexDB::ClearCache();
        state.ResumeTiming();
    }
}

// Asks for each file, and writes the records in the order of their keys.
void AskAndWrite(benchmark::State& state, const FreshIndexes& indexes, const std::vector<CString>& files)
{
    for (auto _ : state) {
        state.PauseTiming();
        PlainDatabase database(indexes.MakeFresh());
        state.ResumeTiming();
        std::vector<std::uint64_t> ids;
        for (const CString& file : files)
            if (GetFileAttributesW(file) == INVALID_FILE_ATTRIBUTES)
                ids.push_back(CIndexDB::CalculateUuid(file));
        std::sort(ids.begin(), ids.end());
        PlainDatabase::Statement record(database, "INSERT OR IGNORE INTO deletes(job, item, deleted) VALUES(1, ?, 1)");
        PlainDatabase::Statement mark(database, "INSERT OR IGNORE INTO gone(item) VALUES(?)");
        database.Run("BEGIN IMMEDIATE");
        for (const std::uint64_t id : ids)
            record.Run({static_cast<std::int64_t>(id)});
        for (const std::uint64_t id : ids)
            mark.Run({static_cast<std::int64_t>(id)});
        database.Run("COMMIT");
        if (ids.size() != gone)
            state.SkipWithError("a file is there");
    }
}

void ProcessDeletions()
{
    const FreshIndexes indexes(gone);
    const std::vector<CString> files = Files();
    const auto contest = [&](const char* name, const std::vector<CString>& paths) {
        Contest(name, {{"items", double(gone)}, {"deletions", double(paths.size())}})
            .Ours([&](benchmark::State& state) { Ours(state, indexes, paths); })
            .Against("one question to the disk for each, and SQLite alone", 2.0,
                     [&](benchmark::State& state) { AskAndWrite(state, indexes, files); })
            .OnceARound()
            .Rounds(5)
            .Run();
    };
    contest("gone", files);
    contest("gone-folder", {L"C:\\Users\\someone"});
}

const Case processDeletions("gone", ProcessDeletions);

} // namespace

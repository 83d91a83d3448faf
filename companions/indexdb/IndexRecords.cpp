#include "companions/indexdb/IndexSchema.h"
#include "companions/indexdb/IndexState.h"
#include "companions/indexdb/TransactionExport.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace
{

constexpr int MaxTextLength = 259;

} // namespace

SettingsDatum CIndexDB::State::LastJob()
{
    return JobOf({connection.Get(), "SELECT id, started, ended, items, flags FROM jobs ORDER BY id DESC LIMIT 1"});
}

SettingsDatum CIndexDB::State::JobOf(IndexStatement query)
{
    SettingsDatum job;
    if (query.Step()) {
        const std::int64_t id = query.Integer(0);
        // There must always be a next number.
        if (id < 0 || id >= std::numeric_limits<std::int32_t>::max())
            throw IndexError{Error::Corrupt, L"it holds a job that no library has written"};
        job.jobId = static_cast<std::int32_t>(id);
        job.startTime = query.Integer(1);
        job.endTime = query.Integer(2);
        job.itemCount = query.Integer(3);
        job.flags = static_cast<std::uint32_t>(query.Integer(4));
    }
    return job;
}

bool CIndexDB::GetLastJobData(SettingsDatum& job)
{
    job = {};
    return m_state->Run([&] { job = m_state->LastJob(); });
}

bool CIndexDB::Insert(const SettingsDatum& job)
{
    return m_state->Run([&] {
        m_state->connection.Execute("INSERT INTO jobs(id, started, ended, items, flags) VALUES(?, ?, ?, ?, ?)",
                                    job.jobId, job.startTime, job.endTime, job.itemCount, job.flags);
    });
}

bool CIndexDB::Update(const SettingsDatum& job)
{
    return m_state->Run([&] {
        m_state->connection.Execute("UPDATE jobs SET started=?, ended=?, items=?, flags=? WHERE id=?", job.startTime,
                                    job.endTime, job.itemCount, job.flags, job.jobId);
        if (m_state->connection.Changed() == 0)
            throw IndexError{Error::NotFound, L"no such job"};
    });
}

bool CIndexDB::DropPluginTable()
{
    return m_state->Run([&] { m_state->connection.Execute("DROP TABLE IF EXISTS plugins"); });
}

bool CIndexDB::CreatePluginTable()
{
    return m_state->Run([&] { m_state->connection.Execute(IndexSchema::CreatePlugins); });
}

bool CIndexDB::Insert(const ProfileDatum& plugin)
{
    return m_state->Run([&] {
        for (const CString* text : {&plugin.name, &plugin.virtualPath, &plugin.rootPath, &plugin.guiName})
            if (text->GetLength() > MaxTextLength)
                throw IndexError{Error::Failed, L"a text of the plugin is too long"};
        m_state->connection.Execute(
            "INSERT INTO plugins(id, name, virtualPath, rootPath, guiName) VALUES(?, ?, ?, ?, ?)", plugin.id,
            plugin.name, plugin.virtualPath, plugin.rootPath, plugin.guiName);
    });
}

std::vector<ProfileDatum> CIndexDB::GetPlugins()
{
    std::vector<ProfileDatum> plugins;
    m_state->Run([&] {
        if (!m_state->HasTable(L"plugins"))
            return;
        IndexStatement query(m_state->connection.Get(),
                             "SELECT id, name, virtualPath, rootPath, guiName FROM plugins ORDER BY position");
        while (query.Step())
            plugins.push_back({static_cast<std::int32_t>(query.Integer(0)), query.Text(1), query.Text(2), query.Text(3),
                               query.Text(4)});
    });
    return plugins;
}

bool CIndexDB::InsertEx(const DeleteDatum& record, int, void*, bool replace)
{
    const bool inserted = m_state->Run([&] {
        if (m_state->inBatch)
            return m_state->AddToBatch({record, replace});
        IndexTransaction transaction(m_state->connection);
        m_state->WriteDelete({record, replace});
        transaction.Commit();
    });
    if (inserted && !m_state->inBatch)
        m_state->FollowDeleted();
    else if (!m_state->inBatch)
        m_state->markedItems.clear();
    return inserted;
}

void CIndexDB::State::AddToBatch(const NewDelete& record)
{
    constexpr std::size_t most = 100'000;
    batch.push_back(record);
    if (batch.size() >= most)
        WriteBatch();
}

// Sorts the records first: keys are hashes, and unsorted each one would touch another part of the file.
void CIndexDB::State::WriteBatch()
{
    if (batchFailed)
        throw IndexError{Error::Failed, L"the batch has failed"};
    std::stable_sort(batch.begin(), batch.end(), [](const NewDelete& left, const NewDelete& right) {
        return std::pair(left.datum.jobId, static_cast<std::int64_t>(left.datum.id)) <
               std::pair(right.datum.jobId, static_cast<std::int64_t>(right.datum.id));
    });
    batchFailed = true; // until all of them are written: a part is never committed
    for (const NewDelete& record : batch)
        WriteDelete(record);
    batchFailed = false;
    batch.clear();
}

void CIndexDB::State::WriteDelete(const NewDelete& record)
{
    if (markedItems.empty())
        versionOfMarks = DataVersion();
    const auto& [datum, replace] = record;
    const char* sql = replace ? "INSERT OR REPLACE INTO deletes(job, item, deleted) VALUES(?, ?, ?)"
                              : "INSERT OR IGNORE INTO deletes(job, item, deleted) VALUES(?, ?, ?)";
    connection.ExecutePrepared(replace ? replaceDelete : insertDelete, sql, datum.jobId, datum.id, datum.deletionTime);
    connection.ExecutePrepared(markItem, "INSERT OR IGNORE INTO gone(item) VALUES(?)", datum.id);
    markedItems.push_back(datum.id);
}

// Another number means that another connection, of any process, has written meanwhile.
std::int64_t CIndexDB::State::DataVersion()
{
    connection.Prepare(readVersion, "PRAGMA data_version");
    const std::int64_t version = readVersion.Step() ? readVersion.Integer(0) : 0;
    readVersion.Rewind();
    return version;
}

bool CIndexDB::State::OthersHaveWritten() noexcept
{
    try {
        const CSingleLock lock(section);
        return DataVersion() != versionOfMarks;
    } catch (...) {
        return true;
    }
}

// Runs after the commit, so that a batch does not hold the turn. Between the two, the item may have been recorded
// again.
void CIndexDB::State::FollowDeleted()
{
    const CSingleLock turn(IndexCache::Turn());
    const bool marksStand = !OthersHaveWritten();
    for (const std::uint64_t id : markedItems)
        FollowDeleted(id, marksStand);
    markedItems.clear();
}

// An item that is gone from the index needs nothing. If the index does not answer, the committed mark counts: at worst
// an item that was recorded again meanwhile counts as new once more.
void CIndexDB::State::FollowDeleted(std::uint64_t id, bool marksStand)
{
    std::optional<std::uint32_t> flags;
    bool markCounts = marksStand;
    try {
        if (!markCounts)
            flags = FlagsOf(id);
    } catch (...) {
        markCounts = true;
    }
    const CSingleLock lock(m_csCache);
    ItemCache* cache = IndexCache::For(identity);
    if (cache && markCounts)
        cache->AddFlags(id, CachedDatum::NoDeleteRecord);
    else if (cache && flags)
        cache->SetFlags(id, *flags);
}

// Returns nothing when the index does not hold the item.
std::optional<std::uint32_t> CIndexDB::State::FlagsOf(std::uint64_t id)
{
    const CSingleLock lock(section);
    connection.Prepare(
        readFlags, "SELECT flags, gone.item IS NOT NULL FROM items LEFT JOIN gone ON gone.item = id WHERE id = ?", id);
    const bool found = readFlags.Step();
    auto flags = found ? static_cast<std::uint32_t>(readFlags.Integer(0)) : 0;
    if (found && readFlags.Integer(1) != 0)
        flags |= CachedDatum::NoDeleteRecord;
    readFlags.Rewind();
    return found ? std::optional(flags) : std::nullopt;
}

void CIndexDB::State::LeaveBatch()
{
    try {
        if (inBatch && connection.IsOpen() && connection.InTransaction())
            connection.Execute("ROLLBACK");
    } catch (...) {
        // The error before this one is reported; closing undoes the rest.
    }
    markedItems.clear();
    batch.clear();
    batchFailed = false;
    inBatch = false;
}

std::vector<DeleteDatum> CIndexDB::State::Deletes(std::int32_t jobId)
{
    std::vector<DeleteDatum> deletes;
    IndexStatement query(connection.Get(), "SELECT item, deleted FROM deletes WHERE job=?", jobId);
    while (query.Step())
        deletes.push_back(
            {static_cast<std::uint64_t>(query.Integer(0)), static_cast<std::uint64_t>(query.Integer(1)), jobId});
    return deletes;
}

std::vector<DeleteDatum> CIndexDB::GetDeletes(std::int32_t jobId)
{
    std::vector<DeleteDatum> deletes;
    m_state->Run([&] {
        m_state->WriteBatch();
        deletes = m_state->Deletes(jobId);
    });
    return deletes;
}

bool CIndexDB::BeginBatch()
{
    return m_state->Run([&] {
        m_state->RefuseInBatch();
        m_state->connection.Execute("BEGIN IMMEDIATE");
        m_state->inBatch = true;
    });
}

bool CIndexDB::CommitBatch()
{
    const bool committed = m_state->Run([&] {
        m_state->WriteBatch();
        m_state->connection.Execute("COMMIT");
    });
    if (committed)
        m_state->FollowDeleted();
    m_state->LeaveBatch();
    return committed;
}

bool CIndexDB::ExportToTransaction(const wchar_t* path, int kind)
{
    return m_state->Run([&] {
        if (kind != 1)
            throw IndexError{Error::Failed, L"an unknown kind of transaction"};
        m_state->Export(path, m_state->LastJob());
    });
}

bool CIndexDB::ExportJob(const wchar_t* path, std::int32_t jobId)
{
    return m_state->Run([&] {
        m_state->Export(path,
                        m_state->JobOf({m_state->connection.Get(),
                                        "SELECT id, started, ended, items, flags FROM jobs WHERE id = ?", jobId}));
    });
}

void CIndexDB::State::Export(const wchar_t* file, const SettingsDatum& job)
{
    RefuseInBatch();
    if (job.jobId == 0)
        throw IndexError{Error::NotFound, L"no job to export"};
    ExportTransaction(file, job, Deletes(job.jobId));
}

bool CIndexDB::MakeExportDue(std::int32_t jobId)
{
    return m_state->Run([&] {
        m_state->connection.Execute(IndexSchema::CreateUnexported);
        m_state->connection.Execute("INSERT OR IGNORE INTO unexported(job) VALUES(?)", jobId);
    });
}

bool CIndexDB::NoteExported(std::int32_t jobId)
{
    return m_state->Run([&] {
        if (m_state->HasTable(L"unexported"))
            m_state->connection.Execute("DELETE FROM unexported WHERE job = ?", jobId);
    });
}

bool CIndexDB::GetDueExports(std::vector<std::int32_t>& jobs)
{
    jobs.clear();
    return m_state->Run([&] {
        if (!m_state->HasTable(L"unexported"))
            return;
        // A mark without its job has no use any more.
        IndexStatement query(m_state->connection.Get(),
                             "SELECT job FROM unexported WHERE job IN (SELECT id FROM jobs) ORDER BY job");
        while (query.Step())
            jobs.push_back(static_cast<std::int32_t>(query.Integer(0)));
    });
}

bool CIndexDB::State::HasTable(std::wstring_view name)
{
    return connection.Number("SELECT count(*) FROM sqlite_master WHERE type='table' AND name=?", name) != 0;
}

#include "companions/indexdb/DeleteRecords.h"

#include <algorithm>
#include <utility>

void DeleteRecords::BeginBatch()
{
    m_connection.RequireNoBatch();
    m_connection.Execute("BEGIN IMMEDIATE");
    m_inBatch = true;
}

void DeleteRecords::Write(const Record& record)
{
    constexpr std::size_t most = 100'000;
    if (!m_inBatch) {
        IndexTransaction transaction(m_connection);
        WriteRecord(record);
        transaction.Commit();
        return;
    }
    m_batch.push_back(record);
    if (m_batch.size() >= most)
        WriteBatch();
}

void DeleteRecords::CommitBatch()
{
    WriteBatch();
    m_connection.Execute("COMMIT");
}

void DeleteRecords::Finish(bool committed)
{
    if (committed)
        LetCacheFollow();
    Undo();
}

void DeleteRecords::Close()
{
    Undo();
    for (IndexStatement* kept : {&m_insert, &m_replace, &m_mark, &m_readMark, &m_readVersion})
        kept->Close();
}

// Sorts the records first: keys are hashes, and unsorted each one would touch another part of the file.
void DeleteRecords::WriteBatch()
{
    if (m_batchFailed)
        throw IndexError{CIndexDB::Error::Failed, L"the batch has failed"};
    std::stable_sort(m_batch.begin(), m_batch.end(), [](const Record& left, const Record& right) {
        return std::pair(left.datum.jobId, static_cast<std::int64_t>(left.datum.id)) <
               std::pair(right.datum.jobId, static_cast<std::int64_t>(right.datum.id));
    });
    m_batchFailed = true; // until all of them are written: a part is never committed
    for (const Record& record : m_batch)
        WriteRecord(record);
    m_batchFailed = false;
    m_batch.clear();
}

void DeleteRecords::WriteRecord(const Record& record)
{
    if (m_marks.empty())
        m_versionOfMarks = DataVersion();
    const auto& [datum, replace] = record;
    const char* sql = replace ? "INSERT OR REPLACE INTO deletes(job, item, deleted) VALUES(?, ?, ?)"
                              : "INSERT OR IGNORE INTO deletes(job, item, deleted) VALUES(?, ?, ?)";
    m_connection.ExecutePrepared(replace ? m_replace : m_insert, sql, datum.jobId, datum.id, datum.deletionTime);
    m_connection.ExecutePrepared(m_mark, "INSERT OR IGNORE INTO gone(item) VALUES(?)", datum.id);
    m_marks.push_back(datum.id);
}

// Another number means that another connection, of any process, has written meanwhile.
std::int64_t DeleteRecords::DataVersion()
{
    m_connection.Prepare(m_readVersion, "PRAGMA data_version");
    const std::int64_t version = m_readVersion.Step() ? m_readVersion.Integer(0) : 0;
    m_readVersion.Rewind();
    return version;
}

bool DeleteRecords::OthersHaveWritten() noexcept
{
    try {
        const CSingleLock lock(m_section);
        return DataVersion() != m_versionOfMarks;
    } catch (...) {
        return true;
    }
}

// Runs after the commit, so that a batch does not hold the turn. Between the two, the item may have been recorded
// again.
void DeleteRecords::LetCacheFollow()
{
    const CSingleLock turn(IndexCache::Turn());
    const bool marksStand = !OthersHaveWritten();
    for (const std::uint64_t id : m_marks)
        LetCacheFollow(id, marksStand);
    m_marks.clear();
}

// An item that is gone from the index needs nothing, and the cache has followed an item that was recorded again by this
// process. If the index does not answer, the committed mark counts: at worst an item that was recorded again meanwhile
// counts as new once more.
void DeleteRecords::LetCacheFollow(std::uint64_t id, bool marksStand)
{
    if (!marksStand && !IsMarked(id))
        return;
    const CSingleLock lock(CIndexDB::m_csCache);
    if (ItemCache* const cache = IndexCache::For(m_database))
        cache->AddFlags(id, CachedDatum::NoDeleteRecord);
}

bool DeleteRecords::IsMarked(std::uint64_t id) noexcept
{
    try {
        const CSingleLock lock(m_section);
        m_connection.Prepare(m_readMark, "SELECT 1 FROM gone WHERE item = ?", id);
        const bool marked = m_readMark.Step();
        m_readMark.Rewind();
        return marked;
    } catch (...) {
        return true;
    }
}

void DeleteRecords::Undo()
{
    try {
        if (m_inBatch && m_connection.IsOpen() && m_connection.InTransaction())
            m_connection.Execute("ROLLBACK");
    } catch (...) {
        // The error before this one is reported; closing undoes the rest.
    }
    m_marks.clear();
    m_batch.clear();
    m_batchFailed = false;
    m_inBatch = false;
}

std::vector<DeleteDatum> DeleteRecords::Read(std::int32_t jobId)
{
    WriteBatch();
    std::vector<DeleteDatum> deletes;
    IndexStatement query(m_connection.Get(), "SELECT item, deleted FROM deletes WHERE job=?", jobId);
    while (query.Step())
        deletes.push_back(
            {static_cast<std::uint64_t>(query.Integer(0)), static_cast<std::uint64_t>(query.Integer(1)), jobId});
    return deletes;
}

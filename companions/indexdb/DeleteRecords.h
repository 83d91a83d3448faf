// The delete records of an index, one by one or in a batch. Each marks its item, so that an item that returns after its
// deletion is new; once the records are committed, the cache of the process takes the marks over.
//
// The caller holds the section of the connection, except where a function says otherwise.
#pragma once

#include "companions/indexdb/IndexCache.h"
#include "companions/indexdb/IndexConnection.h"

#include <vector>

class DeleteRecords
{
public:
    struct Record {
        DeleteDatum datum;
        bool replace;
    };

    // All must outlive the records. `database`: the open one.
    DeleteRecords(RankedSection& section, IndexConnection& connection, const FileIdentity& database)
        : m_section(section),
          m_connection(connection),
          m_database(database)
    {
    }

    bool InBatch() const { return m_inBatch; }
    // Each throws IndexError. Write commits the record, or adds it to the open batch.
    void BeginBatch();
    void Write(const Record& record);
    void CommitBatch();
    // Returns the records of the job, with those of the batch.
    std::vector<DeleteDatum> Read(std::int32_t jobId);

    // After Write or CommitBatch, without the section: the cache follows what was committed, and what was not committed
    // is undone.
    void Finish(bool committed);
    // Undoes the batch, and lets go of the connection.
    void Close();

private:
    void WriteBatch();
    void WriteRecord(const Record& record);
    void Undo();
    void LetCacheFollow();
    void LetCacheFollow(std::uint64_t id, bool marksStand);
    bool OthersHaveWritten() noexcept;
    std::int64_t DataVersion();
    // Returns true also when the database does not answer.
    bool IsMarked(std::uint64_t id) noexcept;

    RankedSection& m_section;
    IndexConnection& m_connection;
    const FileIdentity& m_database;
    IndexStatement m_insert, m_replace, m_mark, m_readMark, m_readVersion; // prepared once, for many uses
    bool m_inBatch = false;
    std::vector<Record> m_batch;        // not written yet
    bool m_batchFailed = false;         // some of the batch could not be written
    std::vector<std::uint64_t> m_marks; // items of the records that were written
    // The database's version in the transaction of the marks. If it is unchanged later, no other connection has
    // written.
    std::int64_t m_versionOfMarks = 0;
};

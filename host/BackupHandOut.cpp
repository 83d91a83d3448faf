#include "host/BackupHandOut.h"

#include "host/records/FileRecords.h"

namespace
{

// An item that has returned may have been recorded anew by now.
bool IsStillDeleted(const DeletionRecord& record)
{
    CachedDatum datum;
    return CIndexDB::GetCachedData(record.id, datum) && (datum.flags & CachedDatum::NoDeleteRecord);
}

} // namespace

bool BackupHandOut::GiveOne(bool atOnce)
{
    QueueDatum datum;
    FileIdentity identity;
    const bool taken = m_queue.Take(datum, identity, atOnce);
    // The batch is committed as soon as nothing more comes.
    if (!taken || m_index.IsCommitDue())
        Commit();
    if (taken && !m_written.IsOutput(datum, identity))
        Give(datum);
    return taken;
}

void BackupHandOut::Give(const QueueDatum& datum)
{
    // Reported twice, and unchanged since its hand-out: the index does not know it yet.
    if (m_index.IsToRecord(datum))
        return;
    // An item that returned during its deletion must be forgotten before it is recorded anew, not after.
    TellDeletions();
    m_writer.Write(PendingRecord{datum});
    // No program received the file: it becomes pending again.
    if (!m_writer.Good()) {
        m_watcher.AddSingleNotification(datum.path);
        return;
    }
    ++m_handedOut;
    // A file that could not be read could not be copied either: it stays new, and is backed up again rather than never.
    if (datum.modificationTime < 0) {
        m_unreadable.Note(datum.path, std::chrono::steady_clock::now());
        m_writer.Note(L"cannot be read now; it stays new for the next enumeration", datum.path);
        return;
    }
    m_unreadable.Forget(datum.path);
    if (m_record)
        m_index.Record(datum);
}

bool BackupHandOut::RetryUnreadable(bool atOnce)
{
    const std::vector<std::wstring> due = m_unreadable.TakeDue(std::chrono::steady_clock::now(), atOnce);
    for (const std::wstring& path : due)
        m_watcher.AddSingleNotification(path.c_str());
    return !due.empty();
}

void BackupHandOut::Commit()
{
    if (const std::vector<CString> recorded = m_index.Commit(); !recorded.empty())
        m_watcher.LookAgainAfterRecording(recorded);
}

// A service that has dealt with a deletion forgets the item: a file that returns is a new one.
bool BackupHandOut::TellDeletions()
{
    const std::vector<DeletionRecord> deletions = m_events.TakeDeletions();
    if (!deletions.empty())
        Commit(); // what was handed out before a deletion is recorded before it
    m_deletions += deletions.size();
    std::vector<CString> deleted;
    for (const DeletionRecord& record : deletions) {
        m_writer.Write(DeletedRecord{record});
        // When no program received the record, the item stays, with its delete record.
        if (m_record && m_writer.Good() && IsStillDeleted(record))
            deleted.push_back(record.path);
    }
    m_index.Forget(deleted);
    return !deletions.empty();
}

// The index of a command that does what a backup service does: the state in which the command found it, and what it
// records there. One thread.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "host/Console.h"
#include "host/RecordBatch.h"
#include "host/ServiceOptions.h"

class ServiceIndex
{
public:
    // Both arguments must outlive the index.
    ServiceIndex(const ServiceOptions& options, RecordWriter& writer) : m_options(options), m_writer(writer) {}

    // Returns false, and reports it, when the index cannot be used.
    bool Open();
    // Makes a full enumeration due when the command asks for one, and when the index or the data folder is not as the
    // last run left it. Call it before anything is handed out: if this command is killed, the next one still knows.
    void PrepareEnumeration();
    // Reports why a full enumeration is due.
    void TellWhyDue();

    // Records what was handed out at the next commit.
    void Record(const QueueDatum& datum);
    // Returns true for a file that is to be recorded, and has not changed since it was handed out.
    bool IsToRecord(const QueueDatum& datum) const;
    bool IsCommitDue() const { return m_batch.IsDue(Seconds()); }
    // Returns the recorded paths; reports the others.
    std::vector<CString> Commit();
    // Removes items whose deletion was handed out; all in one commit, because that of a folder may include thousands.
    void Forget(const std::vector<CString>& deleted);
    // Returns true when something could not be recorded.
    bool HasFailed() const { return m_failed; }

private:
    // The state in which the command found the index. All but Whole and Other were made anew.
    enum class Was { Whole, None, Empty, Lost, Other };

    void TellUnrecorded(const wchar_t* path, CIndexDB::Error error, const CString& text);

    const ServiceOptions& m_options;
    RecordWriter& m_writer;
    CIndexDB m_index;
    RecordBatch m_batch; // handed out, and not recorded yet
    Was m_was = Was::Whole;
    bool m_folderIsNew = false; // no full enumeration was ever completed or due
    bool m_failed = false;
};

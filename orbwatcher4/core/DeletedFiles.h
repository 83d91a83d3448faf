// Turns pending deletions into delete records of the index, and exports them.
//
// One object does one processing, on one thread, inside the watcher's deleted-files
// lock. What is to be written is settled first, with the cache of the index alone;
// then it is written in one go, with no lock of the watcher held deeper than that.
// The deletions stay pending until they are written.
//
// The deletion of a folder stands for what the index holds below it, also where the
// folder is not in the index itself. When something else has taken the folder's place
// by now, only what is not there any more is deleted.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/core/Notification.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

struct WatcherState;

class DeletedFiles
{
public:
    explicit DeletedFiles(WatcherState& state) : m(state) {}

    void Process();
    // Whether jobs of earlier runs are still to be exported.
    static bool HasDueExports(const WatcherState& state);

private:
    using Entries = std::map<CString, NotificationPtr>;

    struct Record {
        DeleteDatum datum;
        CString path;
    };

    void CollectVanished();
    bool CanBeSettled(const CString& path) const;
    bool IsCacheLoaded() const;
    bool OpenIndex();
    bool CollectEntry(const CString& path, const Notification& notification);
    // Nothing when the index could not be read to its end.
    std::optional<std::vector<std::uint64_t>> IdsOf(const CString& path);
    bool IsToBeRecorded(std::uint64_t id, const CString& entry, CachedDatum& datum);
    bool IsToBeRecorded(const CString& entry, const CachedDatum& datum);
    void Undo(std::size_t records);
    bool Write();
    bool WriteRecords(SettingsDatum& job, bool newJob);
    void Tell() const;
    void QueueReturned();
    // Every job that is due. One that fails stays due, and so do those after it.
    void ExportDue();
    bool Export(std::int32_t jobId);
    bool HasDestination() const;
    CString ExportPath();
    void TakeSettled();

    WatcherState& m;
    Entries m_entries; // what is still to be settled
    Entries m_settled; // what the collected records stand for
    std::vector<Record> m_records;
    std::set<std::uint64_t> m_recordedIds;
    CIndexDB m_index;
    SettingsDatum m_lastJob;
};

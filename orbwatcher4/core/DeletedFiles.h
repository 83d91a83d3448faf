// Turns pending deletions into delete records of the index, and exports them.
//
// One object does one processing, on one thread, with the watcher's lock for deleted files held. It first collects the
// records, with the cache of the index alone. Then it writes them in one transaction, without any lock of the watcher
// that comes later in the lock order. The deletions stay pending until they are written.
//
// The deletion of a folder covers all items below it in the index, even if the index does not hold the folder itself.
// If something else has taken the folder's place, only the items that are gone are deleted.
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
    // Returns true when jobs of earlier runs must still be exported.
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
    // Returns nothing when the index could not be read to its end.
    std::optional<std::vector<std::uint64_t>> IdsOf(const CString& path);
    bool IsToBeRecorded(std::uint64_t id, const CString& entry, CachedDatum& datum);
    bool IsToBeRecorded(const CString& entry, const CachedDatum& datum);
    void Undo(std::size_t records);
    bool Write();
    bool WriteRecords(SettingsDatum& job, bool newJob);
    void Tell() const;
    void QueueReturned();
    // Exports every job that is due. A job that fails stays due, and so do the jobs after it.
    void ExportDue();
    bool Export(std::int32_t jobId);
    bool HasDestination() const;
    CString ExportPath();
    void TakeSettled();

    WatcherState& m;
    Entries m_entries; // entries that are not settled yet
    Entries m_settled; // entries that the collected records cover
    std::vector<Record> m_records;
    std::set<std::uint64_t> m_recordedIds;
    CIndexDB m_index;
    SettingsDatum m_lastJob;
};

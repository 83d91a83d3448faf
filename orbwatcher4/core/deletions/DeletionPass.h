// Turns pending deletions into delete records of the index, and exports them.
//
// One object does one processing, on one thread, with the lock of Deletions held. It first collects the records, from
// the cache of the index and, for the items below a folder, from its database. Then it writes them in one transaction.
// It uses the database without any lock of the watcher that comes later in the lock order. The deletions stay pending
// until they are written.
//
// The deletion of a folder covers all items below it in the index, even if the index does not hold the folder itself.
// If something else has taken the folder's place, only the items that are gone are deleted.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/DeletionRecord.h"
#include "orbwatcher4/core/deletions/SortedLooks.h"
#include "orbwatcher4/core/environment/AskedRoots.h"
#include "orbwatcher4/core/intake/ChangeHandler.h"

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

// The parts that the processing of deletions needs. All of them outlive it.
struct DeletionParts {
    const Config& config;
    CSignal& stop;
    Selection& selection;
    PendingStore& pending;
    ChangeHandler& handler;
};

// The work that one processing has left for a later one.
struct DeletionsLeft {
    std::atomic<bool> unsettled{false}; // deletions, or exports of deletions
    std::atomic<bool> exports{false};   // jobs of deletions that could not be exported
};

using DeletionListener = std::function<void(const DeletionRecord&)>;

class DeletionPass
{
public:
    DeletionPass(const DeletionParts& parts, DeletionsLeft& left, const DeletionListener& listener)
        : m(parts),
          m_left(left),
          m_listener(listener)
    {
    }

    void Process();
    // Returns true when jobs of earlier runs must still be exported.
    static bool HasDueExports(const CString& indexDatabase);

private:
    // A deletion in the store, or one whose place something else has taken.
    struct Entry {
        NotificationPtr notification;
        bool replaced;
        bool gone = false; // nothing had the path when it was collected
    };
    using Entries = std::map<CString, Entry>;

    struct Record {
        DeleteDatum datum;
        CString path;
    };
    // The records of one entry: those from `begin` up to `end`.
    struct Covered {
        CString path; // without a backslash at the end
        std::size_t begin, end;
        bool gone; // nothing had the path when the records were collected
    };

    void CollectVanished();
    void TakeFromStore();
    Entries::iterator LookAtSome(Entries::iterator entry);
    static bool Look(SortedLooks& looks, const CString& path, Entry& entry);
    bool IsUsable(AskedRoots& roots, const CString& path) const;
    bool IsCacheLoaded() const;
    bool OpenIndex();
    // The result for one entry. An entry that cannot be examined stays pending.
    enum class Collected { Whole, Unknown, Stopped };
    Collected CollectEntry(const CString& path, const Entry& entry);
    // Returns nothing when the index could not be read to its end.
    std::optional<std::vector<std::uint64_t>> IdsOf(const CString& path);
    bool IsIndexed(std::uint64_t id, const CString& path, CachedDatum& datum) const;
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

    const DeletionParts& m;
    DeletionsLeft& m_left;
    const DeletionListener& m_listener;
    Entries m_entries; // entries that are not settled yet
    Entries m_settled; // entries that the collected records cover
    std::vector<Record> m_records;
    std::vector<Covered> m_covered;
    std::set<std::uint64_t> m_recordedIds;
    CIndexDB m_index;
    SettingsDatum m_lastJob;
};

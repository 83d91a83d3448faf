// The pending changes, one for each path.
//
// Paths compare without regard to case; the first spelling is kept. A million
// paths must stay compact, hence the open-addressing table. The store has no
// lock of its own: every operation but LiveCount and Counters needs the store's
// lock of the watcher.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/core/Notification.h"
#include "support/CaseFold.h"
#include "support/HashMemory.h"

#include <sparsehash/dense_hash_map>

#include <functional>

class NotificationStore
{
public:
    struct Entry {
        CString path;
        NotificationPtr notification;
    };

    NotificationStore();

    NotificationPtr Find(const CString& path) const;
    // Replaces what is pending for the path. The two paths that the table itself uses ("" and "?") are refused.
    bool Put(const CString& path, NotificationPtr notification);
    bool Erase(const CString& path);
    void Clear();
    // Gives the memory of a table that has been emptied back.
    void Shrink();

    // Live entries; any thread.
    std::int64_t LiveCount() const { return static_cast<std::int64_t>(m_counters.end - m_counters.begin); }
    const ItemCounters& Counters() const { return m_counters; }

    // Walks the table in its own order from where the last walk ended, once around. Between two steps the
    // table may be changed. A step that finds the table rebuilt starts the round again, so that no entry is
    // passed over.
    void BeginRound();
    bool NextInRound(Entry& entry);

    // In the table's own order; the store must not be changed meanwhile. False from `visit` ends the walk.
    void ForEach(const std::function<bool(const CString&, const NotificationPtr&)>& visit) const;

    // Slots looked at by all walks, for tests of what a walk costs.
    std::uint64_t SlotsVisited() const { return m_slotsVisited; }

private:
    struct HashPath {
        std::size_t operator()(const CString& path) const { return HashNoCase(path.View()); }
    };
    struct EqualPath {
        bool operator()(const CString& l, const CString& r) const { return EqualNoCase(l.View(), r.View()); }
    };
    using Table = google::dense_hash_map<CString, NotificationPtr, HashPath, EqualPath,
                                         HashMemory<std::pair<const CString, NotificationPtr>>>;

    void Count();

    Table m_table;
    ItemCounters m_counters;
    std::uint64_t m_insertions = 0;
    std::size_t m_cursor = 0;
    std::size_t m_left = 0; // slots of the round that are still to be looked at
    std::size_t m_roundBuckets = 0;
    std::uint64_t m_roundInsertions = 0;
    std::uint64_t m_slotsVisited = 0;
};

// The pending changes, one for each path.
//
// Paths compare without regard to case; the first spelling is kept. A million paths must stay compact: the entries
// stand side by side in the order of their arrival, and a small open-addressing table of their numbers finds them. Each
// path takes an entry of 24 bytes, a hash of 4 bytes, a slot of 4 bytes (some slots are free) and its text; equal
// notifications are shared. A million paths take 180 MB in all (docs/performance.md). The store has no lock of its own;
// LiveCount, Counters and DeletionsPut need none.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/core/pending/SharedNotifications.h"

#include <atomic>
#include <functional>

class NotificationStore
{
public:
    struct Entry {
        CString path;
        NotificationPtr notification;
    };

    // Tells of the changes of one path that are reported while its owner judged the path with the store unlocked. The
    // path must outlive the object. Begin and end it with the store locked.
    class Look
    {
    public:
        Look(NotificationStore& store, const CString& path);
        ~Look() { End(); }
        Look(const Look&) = delete;
        Look& operator=(const Look&) = delete;

        // Returns how many changes of the path were reported since the object was made.
        std::uint64_t Reports() const { return m_reports; }
        // Ends the observation before the destructor, which then needs no lock.
        void End() noexcept;

    private:
        friend class NotificationStore;

        NotificationStore& m_store;
        const CString& m_path;
        std::uint64_t m_reports = 0;
        bool m_ended = false;
    };

    NotificationPtr Find(const CString& path) const;
    // Notes that a change of the path was reported and the pending one stays. Objects of Look for the path learn of it.
    void NoteReport(const CString& path) noexcept;
    // Replaces the pending change of the path. Refuses "" and "?", which are no paths. Equal notifications are shared,
    // so nothing may change them afterwards.
    bool Put(const CString& path, NotificationPtr notification);
    bool Erase(const CString& path);
    void Clear();
    // Releases the memory of an emptied store.
    void Shrink();

    // Returns the number of entries. Any thread.
    std::int64_t LiveCount() const { return static_cast<std::int64_t>(m_counters.end - m_counters.begin); }
    const ItemCounters& Counters() const { return m_counters; }
    // Returns how many deletions were put into the store so far. Any thread.
    std::uint64_t DeletionsPut() const { return m_deletionsPut; }

    // Walks the entries in their order, once around, from the place where the last walk ended. The store may be changed
    // between two steps. A step that finds a new entry starts the round again, so that it misses none.
    void BeginRound();
    bool NextInRound(Entry& entry);
    // Erases the entry of the last step without a look-up. Returns false when it is gone already.
    bool EraseVisited();

    // Visits the entries in their order. The store must not be changed meanwhile. Ends when `visit` returns false.
    void ForEach(const std::function<bool(const CString&, const NotificationPtr&)>& visit) const;

    // Costs, for tests: the places that all walks visited, the slots that all look-ups visited, and the bytes of the
    // store beside paths and notifications.
    std::uint64_t PlacesVisited() const { return m_placesVisited; }
    std::uint64_t SlotsProbed() const { return m_slotsProbed; }
    std::size_t TableBytes() const;

private:
    static constexpr std::size_t BlockPlaces = 1024;
    static constexpr std::size_t Nowhere = ~std::size_t{0};
    // Blocks never move, so a growing store needs no second copy of itself.
    struct Block {
        std::uint32_t hashes[BlockPlaces];
        Entry entries[BlockPlaces]; // an entry without a path is a gap: it was erased
    };

    Entry& EntryAt(std::size_t place) { return m_blocks[place / BlockPlaces]->entries[place % BlockPlaces]; }
    const Entry& EntryAt(std::size_t place) const
    {
        return m_blocks[place / BlockPlaces]->entries[place % BlockPlaces];
    }
    std::uint32_t& HashAt(std::size_t place) const
    {
        return m_blocks[place / BlockPlaces]->hashes[place % BlockPlaces];
    }

    std::size_t PlaceOf(const CString& path, std::uint32_t hash) const;
    void MakeRoom();
    void CloseGaps(std::size_t slots);
    void DropLeadingBlocks();
    void EraseAt(std::size_t place);
    void LetGoOfTheBeginning();

    std::vector<std::unique_ptr<Block>> m_blocks; // null where all places are before m_begin
    std::size_t m_begin = 0, m_end = 0;           // of the places in use, gaps among them
    std::vector<std::uint32_t> m_slots;           // place + 1, from its hash onwards; 0: free
    std::vector<Look*> m_looks;
    SharedNotifications m_shared;
    ItemCounters m_counters;
    std::uint64_t m_insertions = 0;
    std::atomic<std::uint64_t> m_deletionsPut{0};
    std::size_t m_cursor = 0;
    std::size_t m_left = 0; // places of the round that are still to be looked at, those before the beginning among them
    std::size_t m_visited = Nowhere;
    std::uint64_t m_roundInsertions = 0;
    std::uint64_t m_placesVisited = 0;
    mutable std::uint64_t m_slotsProbed = 0;
};

// The pending changes, one for each path.
//
// Paths compare without regard to case; the first spelling is kept. A million
// paths must stay compact: they stand side by side, in the order in which they
// came, and a small open-addressing table of their numbers finds them. The
// store has no lock of its own: every operation but LiveCount and Counters
// needs the store's lock of the watcher.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/core/SharedNotifications.h"

#include <functional>

class NotificationStore
{
public:
    struct Entry {
        CString path;
        NotificationPtr notification;
    };

    // Says whether anything was reported for one path while its holder judged it with the store unlocked. The path
    // must live as long as the object. Not copied, not moved; begun and ended with the store locked.
    class Look
    {
    public:
        Look(NotificationStore& store, const CString& path);
        ~Look() { End(); }
        Look(const Look&) = delete;
        Look& operator=(const Look&) = delete;

        // What was pending when the look began.
        const NotificationPtr& Before() const { return m_before; }
        bool WasReported() const { return m_reported; }
        // Ends the look before its destructor does, which then needs no lock.
        void End() noexcept;

    private:
        friend class NotificationStore;

        NotificationStore& m_store;
        const CString& m_path;
        const NotificationPtr m_before;
        bool m_reported = false;
        bool m_ended = false;
    };

    NotificationPtr Find(const CString& path) const;
    // A change of the path was reported, and what is pending stands as it is: looks at the path learn of it.
    void NoteReport(const CString& path) noexcept;
    // Replaces what is pending for the path. "" and "?" are no paths and are refused. Notifications that say the same
    // become one: nobody may change them any more.
    bool Put(const CString& path, NotificationPtr notification);
    bool Erase(const CString& path);
    void Clear();
    // Gives the memory of a store that has been emptied back.
    void Shrink();

    // Live entries; any thread.
    std::int64_t LiveCount() const { return static_cast<std::int64_t>(m_counters.end - m_counters.begin); }
    const ItemCounters& Counters() const { return m_counters; }

    // Walks the entries in their order from where the last walk ended, once around. Between two steps the
    // store may be changed. A step that finds a new entry starts the round again, so that none is passed over.
    void BeginRound();
    bool NextInRound(Entry& entry);
    // The entry of the last step, without looking for it. False when it is gone already.
    bool EraseVisited();

    // In the order of the entries; the store must not be changed meanwhile. False from `visit` ends the walk.
    void ForEach(const std::function<bool(const CString&, const NotificationPtr&)>& visit) const;

    // What the store costs, for tests: places looked at by all walks, slots looked at by all look-ups, and the bytes
    // that it needs beside the paths and the notifications.
    std::uint64_t SlotsVisited() const { return m_placesVisited; }
    std::uint64_t SlotsProbed() const { return m_slotsProbed; }
    std::size_t TableBytes() const;

private:
    static constexpr std::size_t BlockPlaces = 1024;
    static constexpr std::size_t Nowhere = ~std::size_t{0};
    // Blocks never move, so that a store that grows needs no second copy of itself.
    struct Block {
        std::uint32_t hashes[BlockPlaces];
        Entry entries[BlockPlaces]; // one without a path is a gap: it was erased
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
    void SetLive(std::size_t live);

    std::vector<std::unique_ptr<Block>> m_blocks; // null where all places are before the beginning
    std::size_t m_begin = 0, m_end = 0; // of the places in use, gaps among them. What is before the beginning is gone
    std::vector<std::uint32_t> m_slots; // place + 1, from where its hash says onwards; 0: free. What is gone keeps its
    std::vector<Look*> m_looks;
    SharedNotifications m_shared;
    ItemCounters m_counters;
    std::uint64_t m_insertions = 0;
    std::size_t m_cursor = 0;
    std::size_t m_left = 0; // places of the round that are still to be looked at, those before the beginning among them
    std::size_t m_visited = Nowhere;
    std::uint64_t m_roundInsertions = 0;
    std::uint64_t m_placesVisited = 0;
    mutable std::uint64_t m_slotsProbed = 0;
};

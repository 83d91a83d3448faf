// The whole index in memory, compact enough for millions of items (about fifty bytes each beside their names): an
// item's path is the number of its folder (FolderTable) and the place of its own name (NameBlocks).
//
// Not locked: the owner guards it, also for look-ups.
#pragma once

#include "companions/indexdb/BlockArray.h"
#include "companions/indexdb/CachedDatum.h"
#include "companions/indexdb/FolderTable.h"
#include "companions/indexdb/NameBlocks.h"
#include "companions/indexdb/PathFolding.h"
#include "companions/indexdb/SlotTable.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

class ItemCache
{
public:
    // The longest path of the system, in units.
    static constexpr std::size_t MaxPath = 32767;

    // mostNameUnits: room for names, in units; the places of names are 32 bits wide.
    explicit ItemCache(std::uint64_t mostNameUnits = std::uint64_t(1) << 32) : m_names(mostNameUnits) {}

    std::size_t Size() const { return m_byId.Size(); }
    // Returns how many folders the items are in.
    std::size_t Folders() const { return m_folders.Size(); }
    // Returns how many places of its tables the look-ups by id and by folder have looked at.
    std::uint64_t PlacesVisited() const { return m_byId.PlacesVisited() + m_folders.PlacesVisited(); }

    // Adds the item, or replaces the one with the same path in whatever case. Returns false, and changes nothing, when
    // the id belongs to another path (ids are hashes that anybody can compute), or when the path is empty or longer
    // than MaxPath. Throws std::bad_alloc when there is no room for the name.
    bool Put(const CachedDatum& datum, std::int64_t delayedUntil);
    void Erase(std::uint64_t id);
    // Does nothing when the item is not known.
    void AddFlags(std::uint64_t id, std::uint32_t flags);

    bool Find(std::uint64_t id, CachedDatum& datum) const { return Describe(SlotOfId(id), datum); }
    // Finds the item with this path, as FindPath does.
    bool Find(std::wstring_view path, CachedDatum& datum) const { return Describe(SlotOfPath(path), datum); }
    // Returns the id of the item with this path, without regard to case; no trailing backslash.
    std::optional<std::uint64_t> FindPath(std::wstring_view path) const;
    // Returns true when an item is below the folder, at any depth, without regard to case; no trailing backslash.
    bool HasItemsBelow(std::wstring_view folder) const { return m_folders.HasItemsBelow(folder); }
    // Returns 0 when the item is not delayed or not known.
    std::int64_t DelayedUntil(std::uint64_t id) const;

    // --- Enumerations mark the items that they meet with the number of the last run that has begun. ---

    // Begins a run, whose number is larger than those before. Items that are added from now on count as met.
    void BeginRun(std::uint32_t run) { m_run = run; }
    // Marks the item with this path. Returns false when the item is not known, was marked since the last run began, or
    // has CachedDatum::NoDeleteRecord. Throws std::bad_alloc.
    bool Meet(std::wstring_view path);
    // Returns true for an item that Meet would mark.
    bool IsUnmet(std::wstring_view path) const;
    // Returns the place of the first item, from `place` on, below the folder that was not marked since the run began;
    // nothing when there is none before `end`. Items with CachedDatum::NoDeleteRecord do not count.
    std::optional<std::size_t> NextUnmet(std::uint32_t run, std::wstring_view folder, std::size_t place,
                                         std::size_t end) const;
    // Returns the end of all places.
    std::size_t Places() const { return m_items.Size(); }
    bool FindAt(std::size_t place, CachedDatum& datum) const { return Describe(static_cast<Slot>(place), datum); }

private:
    using Slot = SlotTable::Slot;
    struct Item {
        std::uint64_t id;
        std::uint64_t modificationTime;
        std::uint32_t folder;
        std::uint32_t name; // place in m_names
        std::uint32_t flags;
        std::uint16_t nameLength;
        std::uint8_t kind;
        bool used;
    };
    static_assert(sizeof(Item) == 32);

    bool Update(const CachedDatum& datum, std::int64_t delayedUntil);
    void SetDelayed(std::uint64_t id, std::int64_t until);
    Slot SlotOfId(std::uint64_t id) const;
    Slot SlotOfPath(std::wstring_view path) const;
    bool Describe(Slot slot, CachedDatum& datum) const;
    void PathOf(const Item& item, CString& path) const;
    template <typename Equal>
    bool HasPath(Slot slot, std::wstring_view path, Equal equal) const;
    bool HasPathNoCase(Slot slot, std::wstring_view path) const;
    std::uint64_t FoldedKeyOf(Slot slot) const;
    void DropUnusedNames();
    bool IsMarkable(Slot slot) const;
    std::uint32_t MarkOf(Slot slot) const { return slot < m_marks.size() ? m_marks[slot] : 0; }
    void Mark(Slot slot);

    SlotTable m_byId;
    // Items that their id alone does not always find: ids fold A to Z only. By the keys of their folded paths, which
    // several items may share.
    SlotTable m_byFoldedPath;
    BlockArray<Item> m_items;
    FolderTable m_folders;
    NameBlocks m_names;
    std::unordered_map<std::uint64_t, std::int64_t> m_delayed;
    std::uint32_t m_run = 0; // the last one; 0 before the first
    // For each item, the last run at the time when it was met. Shorter than m_items while the items behind are unmet.
    std::vector<std::uint32_t> m_marks;
    mutable PathFolding m_folding;
};

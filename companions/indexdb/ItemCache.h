// The whole index in memory, compact enough for millions of items (about fifty bytes each beside their names): an
// item's path is the number of its folder and its own name, and names are side by side in large blocks.
//
// Not locked: the owner guards it, also for look-ups.
#pragma once

#include "companions/indexdb/BlockArray.h"
#include "companions/indexdb/CachedDatum.h"
#include "companions/indexdb/SlotTable.h"
#include "support/HashMemory.h"

#include <sparsehash/sparse_hash_map>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class ItemCache
{
public:
    // The longest path of the system, in units.
    static constexpr std::size_t MaxPath = 32767;

    // mostNameUnits: room for names, in units; the places of names are 32 bits wide.
    explicit ItemCache(std::uint64_t mostNameUnits = std::uint64_t(1) << 32);

    std::size_t Size() const { return m_byId.Size(); }
    // Returns how many folders the items are in.
    std::size_t Folders() const { return m_folderNumbers.Size(); }
    // Returns how many places of its tables the look-ups by id and by folder have looked at.
    std::uint64_t PlacesVisited() const { return m_byId.PlacesVisited() + m_folderNumbers.PlacesVisited(); }

    // Adds the item, or replaces the one with the same path in whatever case. Returns false, and changes nothing, when
    // the id belongs to another path (ids are hashes that anybody can compute), or when the path is empty or longer
    // than MaxPath. Throws std::bad_alloc when there is no room for the name.
    bool Put(const CachedDatum& datum, std::int64_t delayedUntil);
    void Erase(std::uint64_t id);
    // Does nothing when the item is not known.
    void SetFlags(std::uint64_t id, std::uint32_t flags);
    void AddFlags(std::uint64_t id, std::uint32_t flags);

    bool Find(std::uint64_t id, CachedDatum& datum) const;
    // Finds the item with this path, as FindPath does.
    bool Find(std::wstring_view path, CachedDatum& datum) const;
    // Returns the id of the item with this path, without regard to case; no trailing backslash.
    std::optional<std::uint64_t> FindPath(std::wstring_view path) const;
    // Returns true when an item is below the folder, at any depth, without regard to case; no trailing backslash.
    bool HasItemsBelow(std::wstring_view folder) const;
    // Returns 0 when the item is not delayed or not known.
    std::int64_t DelayedUntil(std::uint64_t id) const;

private:
    using Slot = SlotTable::Slot;
    using CountMap =
        google::sparse_hash_map<std::uint64_t, std::uint32_t, std::hash<std::uint64_t>, std::equal_to<std::uint64_t>,
                                HashMemory<std::pair<const std::uint64_t, std::uint32_t>>>;
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
    struct Folder {
        std::wstring path;
        std::uint64_t id = 0;
        std::uint32_t items = 0;
    };

    bool Update(const CachedDatum& datum, std::int64_t delayedUntil);
    void SetDelayed(std::uint64_t id, std::int64_t until);
    Item* ItemOfId(std::uint64_t id);
    const Item* ItemOfId(std::uint64_t id) const { return const_cast<ItemCache*>(this)->ItemOfId(id); }
    Slot SlotOfId(std::uint64_t id) const;
    void Describe(const Item& item, CachedDatum& datum) const;
    void EnterId(Slot slot);
    void LeaveId(Slot slot);
    std::uint64_t FoldedKeyOf(Slot slot) const;
    Slot TakeSlot();
    // EnterFolder counts one more item in the folder; LeaveFolder counts one less.
    std::uint32_t EnterFolder(std::wstring_view path);
    void LeaveFolder(std::uint32_t number);
    void CountInAncestors(std::wstring_view path, std::uint32_t change);
    std::uint32_t AddName(std::wstring_view name);
    std::wstring_view NameOf(const Item& item) const;
    void PathOf(const Item& item, CString& path) const;
    template <typename Equal>
    bool HasPath(const Item& item, std::wstring_view path, Equal equal) const;
    void Fold(std::wstring_view path) const;
    std::uint64_t FoldedKey(std::wstring_view path) const;
    const Item* ItemOfPath(std::wstring_view path) const;
    const Item* IfItHasPath(const Item* item, std::wstring_view path) const;
    void DropUnusedNames();

    SlotTable m_byId;
    // Items that their id alone does not always find: ids fold A to Z only. By FoldedKey, which several items may
    // share.
    SlotTable m_byFoldedPath;
    BlockArray<Item> m_items;
    std::vector<Slot> m_freeSlots;
    BlockArray<Folder> m_folders;
    std::vector<std::uint32_t> m_freeFolders;
    // For each folder with items below it, by the key of its folded path: how many of m_folders are it or in it. (Two
    // folders with the same key would make HasItemsBelow return true too often, which costs a query of the database.)
    CountMap m_subtrees;
    SlotTable m_folderNumbers;
    std::vector<std::unique_ptr<wchar_t[]>> m_names;
    const std::size_t m_mostNameBlocks;
    std::size_t m_namesUsed = 0; // in the last block
    std::size_t m_unusedNameUnits = 0;
    std::unordered_map<std::uint64_t, std::int64_t> m_delayed;
    mutable std::wstring m_folded; // working space
};

// The folders of a cache's items, each with the spelling of its items, and every folder that has items below it.
//
// Not locked: the owner guards it, also for look-ups.
#pragma once

#include "companions/indexdb/BlockArray.h"
#include "companions/indexdb/PathFolding.h"
#include "companions/indexdb/SlotTable.h"
#include "support/HashMemory.h"

#include <sparsehash/sparse_hash_map>

#include <string>
#include <string_view>

class FolderTable
{
public:
    FolderTable() { m_subtrees.set_deleted_key(PathFolding::UnusedKey); }

    std::size_t Size() const { return m_numbers.Size(); }
    // Returns how many places of its table the look-ups have looked at.
    std::uint64_t PlacesVisited() const { return m_numbers.PlacesVisited(); }

    // Counts one more item in the folder, and returns its number. An empty path is the folder of names alone.
    std::uint32_t Enter(std::wstring_view path);
    // Counts one item less. The last one frees the folder.
    void Leave(std::uint32_t number);
    const std::wstring& Path(std::uint32_t number) const { return m_folders[number].path; }
    // Returns the key of the path; 0 for an empty one.
    std::uint64_t Id(std::uint32_t number) const { return m_folders[number].id; }
    // Returns true when an item is below the folder, at any depth, without regard to case; no trailing backslash.
    bool HasItemsBelow(std::wstring_view folder) const { return m_subtrees.count(m_folding.KeyOf(folder)) != 0; }

private:
    using CountMap =
        google::sparse_hash_map<std::uint64_t, std::uint32_t, std::hash<std::uint64_t>, std::equal_to<std::uint64_t>,
                                HashMemory<std::pair<const std::uint64_t, std::uint32_t>>>;
    struct Folder {
        std::wstring path;
        std::uint64_t id = 0;
        std::uint32_t items = 0;
    };

    void CountInAncestors(std::wstring_view path, std::uint32_t change);

    BlockArray<Folder> m_folders;
    SlotTable m_numbers;
    // For each folder with items below it, by the key of its folded path: how many of m_folders are it or in it. (Two
    // folders with the same key would make HasItemsBelow return true too often, which costs a query of the database.)
    CountMap m_subtrees;
    mutable PathFolding m_folding;
};

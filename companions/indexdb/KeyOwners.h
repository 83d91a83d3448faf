// The paths that have the keys of items which are being recorded. A key is a hash that anybody can compute, so another
// path may have the key of an item. The database has no tree of the keys and does not keep them apart: this class does.
//
// The process's cache answers as long as it has followed every change of the items. Otherwise all items are read once.
//
// One thread uses an object, and holds the cache's turn as long as it lives: nobody else changes the cache meanwhile.
#pragma once

#include "companions/indexdb/CachedDatum.h"
#include "companions/indexdb/IndexCache.h"
#include "companions/indexdb/IndexConnection.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

// An item as it is written into the database.
struct RecordedItem {
    CachedDatum datum;
    std::int64_t delayedUntil; // seconds since 1970; 0: not delayed
};

class KeyOwners
{
public:
    // Finds the owners in the cache. Enters m_csCache, so the database must not be locked.
    void AskCache(const FileIdentity& database, const std::vector<RecordedItem>& items);
    // Finds the owners in the database, unless the cache has followed all of its `changes` (IndexSchema::ItemChanges).
    // Call it in the transaction that writes the items. Throws IndexError.
    void Complete(IndexConnection& connection, std::int64_t changes, const std::vector<RecordedItem>& items);

    // Gives the item's path the key when no path has it. Returns the owner, which may be the same path in another case.
    const CString& Claim(const CachedDatum& item) { return m_owners.try_emplace(item.id, item.path).first->second; }

private:
    std::unordered_map<std::uint64_t, CString> m_owners;
    std::optional<std::int64_t> m_followed; // by the cache; nothing without one
};

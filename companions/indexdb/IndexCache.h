// The process's one cache of an index, and the database that it belongs to.
//
// CIndexDB::m_csCache guards the cache. Look-ups enter it, so that it is held for moments only: never while a thread
// waits for a database, reads or writes it. The turn below keeps the cache in step with the database.
#pragma once

#include "companions/indexdb/ItemCache.h"
#include "support/Handle.h"
#include "support/RankedSection.h"

#include <cstdint>
#include <memory>

// The identity of a file, independent of its names.
struct FileIdentity {
    std::uint32_t volume = 0;
    std::uint64_t index = 0;

    bool operator==(const FileIdentity&) const = default;
    // Returns all zeros when the file cannot be opened.
    static FileIdentity Of(const wchar_t* path);
};

namespace IndexCache
{

// A thread that changes items of a database, or reads all of them, holds this lock from before it asks the database
// until the cache has followed. So the cache follows in the order of the commits, and a cache that is being read misses
// none. Enter it before m_csCache. Look-ups do not need it.
RankedSection& Turn();

// Returns the cache; null when none is loaded. Hold m_csCache, here and for the next two functions.
ItemCache* Any();
// Returns the cache; null also when it was loaded from another database.
ItemCache* For(const FileIdentity& database);
// Returns the last change of its database's items (IndexSchema::ItemChanges) that the cache has followed; it has
// followed all before.
std::int64_t Followed();
// Replaces the cache; a null cache drops the present one. Enters m_csCache.
void Replace(std::unique_ptr<ItemCache> cache, const FileIdentity& database, std::int64_t followed);
// Notes that the cache, if it is that of the database, has followed this change. It counts only when the cache has
// followed the one before: it never learns of a change by another process. Enters m_csCache.
void NoteFollowed(const FileIdentity& database, std::int64_t change);

} // namespace IndexCache

// Returns the path as the index holds it: without one trailing backslash.
CString IndexPath(const wchar_t* path);

// The process's one cache of an index, and which database it belongs to.
//
// The cache is guarded by CIndexDB::m_csCache, which look-ups enter and which is therefore held for moments only:
// never while a database is waited for, read or written. What keeps the cache in step with the database is the turn
// below.
#pragma once

#include "companions/indexdb/ItemCache.h"
#include "support/Handle.h"
#include "support/RankedSection.h"

#include <cstdint>
#include <memory>

// A file by what it is, not by one of its names.
struct FileIdentity {
    std::uint32_t volume = 0;
    std::uint64_t index = 0;

    bool operator==(const FileIdentity&) const = default;
    // All zero when the file cannot be opened.
    static FileIdentity Of(const wchar_t* path);
};

namespace IndexCache
{

// Held by whoever changes items of a database or reads all of them, from before the database is asked until the
// cache has followed: so it follows in the order of the commits, and a cache that is being read misses none. It is
// entered before m_csCache. Look-ups do not need it.
RankedSection& Turn();

// Null when no cache is loaded. With m_csCache held, here and in the next one.
ItemCache* Any();
// Null also when the cache was loaded from another database.
ItemCache* For(const FileIdentity& database);
// A null cache drops the present one. Enters m_csCache.
void Replace(std::unique_ptr<ItemCache> cache, const FileIdentity& database);

} // namespace IndexCache

// The path as the index knows it: without one trailing backslash.
CString IndexPath(const wchar_t* path);

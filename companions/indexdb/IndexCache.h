// The process's one cache of an index, and which database it belongs to.
//
// Everything here is guarded by CIndexDB::m_csCache, which the caller holds.
#pragma once

#include "companions/indexdb/ItemCache.h"
#include "support/Handle.h"

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

// Null when no cache is loaded.
ItemCache* Any();
// Null also when the cache was loaded from another database.
ItemCache* For(const FileIdentity& database);
// A null cache drops the present one.
void Replace(std::unique_ptr<ItemCache> cache, const FileIdentity& database);

} // namespace IndexCache

// The path as the index knows it: without one trailing backslash.
CString IndexPath(const wchar_t* path);

/// @file
/// An item of the index as the cache in memory knows it.
#pragma once

#include "mfc/CString.h"

#include <cstdint>

/// What the cache knows of an item.
struct CachedDatum {
    static constexpr std::uint32_t DropSameRunChange = 4; ///< a file: a second change during a run is dropped
    static constexpr std::uint32_t Folder = 4;            ///< the same bit on a folder's item marks the folder
    static constexpr std::uint32_t NoDeleteRecord = 64;   ///< has one already: treated as if it were not in the index

    std::uint64_t id = 0;               ///< CIndexDB::CalculateUuid of the path when it was recorded
    std::uint64_t parentId = 0;         ///< the key of the folder; 0 without one
    std::uint64_t modificationTime = 0; ///< FILETIME, 100-ns units
    std::uint32_t kind = 0;             ///< 0 file, 1 folder
    std::uint32_t flags = 0;            ///< the bits above
    CString path;                       ///< without a trailing backslash
};

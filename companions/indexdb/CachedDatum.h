/// @file
/// An item of the index, as the cache in memory holds it.
#pragma once

#include "mfc/CString.h"

#include <cstdint>

/// The cache's data of an item.
struct CachedDatum {
    static constexpr std::uint32_t DropSameRunChange = 4; ///< of a file: a second change during a run is dropped
    static constexpr std::uint32_t Folder = 4;            ///< of a folder: the same bit marks the item as a folder
    static constexpr std::uint32_t NoDeleteRecord = 64;   ///< not in the index until it is recorded again

    std::uint64_t id = 0;               ///< CIndexDB::CalculateUuid of the path when it was recorded
    std::uint64_t parentId = 0;         ///< key of the folder; 0 without one
    std::uint64_t modificationTime = 0; ///< FILETIME, 100-ns units
    std::uint32_t kind = 0;             ///< 0 file, 1 folder
    std::uint32_t flags = 0;            ///< the bits above
    CString path;                       ///< without a trailing backslash
};

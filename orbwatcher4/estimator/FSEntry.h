/// @file
/// One node of the estimator's cache: a file, or a folder with what lies in it.
///
/// A drive may hold millions of them, so that each stands by value in its
/// folder's own table. Names are in lower case: the tables compare exactly.
#pragma once

#include "mfc/CString.h"
#include "support/HashMemory.h"
#include "support/Hashes.h"

#include <sparsehash/dense_hash_set>

#include <cstdint>
#include <functional>
#include <memory>

struct FSEntry;

/// The hash of an entry: that of its name.
struct fs_hash_cs {
    /// The hash of its units.
    std::size_t operator()(const FSEntry& entry) const;
};

/// The entries of a folder.
using FSEntrySet = google::dense_hash_set<FSEntry, fs_hash_cs, std::equal_to<FSEntry>, HashMemory<FSEntry>>;
/// A set that copies of an estimator share.
using FSEntrySetPtr = std::shared_ptr<FSEntrySet>;

/// A file or a folder.
struct FSEntry {
    CString name;                   ///< one component of a path; the first one of a share keeps its backslashes
    std::uint64_t reserved[2] = {}; ///< 0
    std::uint64_t size = 0;         ///< in bytes, as a walk reported it; 0 for a folder
    FSEntrySetPtr children;         ///< null for a file

    /// Compares the names exactly.
    bool operator==(const FSEntry& other) const { return name == other.name; }
};
static_assert(sizeof(FSEntry) == 48);

inline std::size_t fs_hash_cs::operator()(const FSEntry& entry) const
{
    return HashWideString32(entry.name, entry.name.GetLength() * 2);
}

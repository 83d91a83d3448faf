/// @file
/// The estimator's data about a file extension.
#pragma once

#include "mfc/CString.h"
#include "support/HashMemory.h"
#include "support/Hashes.h"

#include <sparsehash/sparse_hash_map>

#include <cstdint>
#include <functional>
#include <utility>

/// The data about one extension.
struct ExtProperties {
    float ratio = 0;            ///< cost of one byte
    std::int32_t profile = -10; ///< -10: no profile
};

/// Hashes an extension with exact case: callers lower-case it beforehand.
struct cstring_hash_cs {
    /// Returns the hash of the units.
    std::size_t operator()(const CString& text) const { return HashWideString32(text, text.GetLength() * 2); }
};

/// Maps an extension, in lower case and with its leading dot, to its data.
using ExtensionMap = google::sparse_hash_map<CString, ExtProperties, cstring_hash_cs, std::equal_to<CString>,
                                             HashMemory<std::pair<const CString, ExtProperties>>>;

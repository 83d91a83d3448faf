/// @file
/// What the estimator knows of a file extension.
#pragma once

#include "mfc/CString.h"
#include "support/HashMemory.h"
#include "support/Hashes.h"

#include <sparsehash/sparse_hash_map>

#include <cstdint>
#include <functional>
#include <utility>

/// What is known of an extension.
struct ExtProperties {
    float ratio = 0;            ///< cost of a byte
    std::int32_t profile = -10; ///< -10: no profile
};

/// Exact case: callers lower-case the extension beforehand.
struct cstring_hash_cs {
    /// The hash of its units.
    std::size_t operator()(const CString& text) const { return HashWideString32(text, text.GetLength() * 2); }
};

/// Extension, lower-case with its leading dot, to what is known of it.
using ExtensionMap = google::sparse_hash_map<CString, ExtProperties, cstring_hash_cs, std::equal_to<CString>,
                                             HashMemory<std::pair<const CString, ExtProperties>>>;

/// @file
/// What of a drive a walk covers: a copy, so that rules may be edited while it is walked.
#pragma once

#include "mfc/CString.h"

#include <vector>

/// The part of one drive that a walk covers.
struct ScanLists {
    /// A folder at which a walk begins.
    struct Root {
        CString path;            ///< ends in a backslash
        bool includeSub = false; ///< false: only what lies in the folder itself
    };
    std::vector<Root> roots;         ///< recursive ones first, shallowest first
    std::vector<CString> exclusions; ///< folders that are excluded whole; an included one may lie deeper
    std::vector<CString> files;      ///< selected one by one
};

/// @file
/// What of a drive a walk covers: a copy, so that rules may be edited while it is walked.
#pragma once

#include "mfc/CString.h"

#include <vector>

/// What a walk covers of one drive.
struct ScanLists {
    /// A folder that a walk begins with.
    struct Root {
        CString path;            ///< ends in a backslash
        bool includeSub = false; ///< false: only what lies in the folder itself
    };
    std::vector<Root> roots;         ///< recursive ones first, shallowest first
    std::vector<CString> exclusions; ///< folders that are excluded whole; an included one may lie deeper
    std::vector<CString> files;      ///< selected one by one
};

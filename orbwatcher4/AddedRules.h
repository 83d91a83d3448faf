/// @file
/// What becomes of rules that are added while a watcher runs.
#pragma once

#include "mfc/CString.h"

#include <cstdint>

/// The result of adding new rules.
enum AddQueueItemResult : int {
    RulesQueued = 0,     ///< the rules are held, and the files that they select are pending
    RulesNotLoaded = 1,  ///< the file is missing or could not be loaded, or its rules could not be merged
    ExclusionsFound = 2, ///< some of the rules are exclusions that the caller must see
};

/// A new rule that excludes something.
struct ExcludedInfo {
    std::int32_t kind = 0; ///< 1 folder, 0 file
    CString path;          ///< path of the rule
};

/// @file
/// How the walks of an estimate go.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"

/// A moment of the walks of an estimate: a copy.
struct ScanProgress {
    /// Counted by all walks of the object so far; what two walks have found is counted twice.
    unsigned __int64 files = 0;
    unsigned __int64 bytes = 0;   ///< of these files
    unsigned __int64 folders = 0; ///< as files
    CString folder;               ///< that a walk is in, or was in last
    int drives = 0;               ///< that the last Start walks
    int drivesDone = 0;           ///< of these, how many were walked to the end
};

/// What a walk has not gone into: a folder that is hidden, excluded or cannot be read to its end, a link that is not
/// followed, something selected that is not there.
struct PassedOverPath {
    CString path;    ///< full
    PathOutcome why; ///< Hidden, Excluded, ... Missing or Unreadable
};

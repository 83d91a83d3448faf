/// @file
/// The progress of the walks of an estimate.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"

/// A snapshot of the progress of an estimate's walks.
struct ScanProgress {
    /// Counts of all walks of the object so far; a file that two walks find counts twice.
    unsigned __int64 files = 0;
    unsigned __int64 bytes = 0;   ///< total size of these files
    unsigned __int64 folders = 0; ///< counted like files
    CString folder;               ///< the folder that a walk is in, or was in last
    int drives = 0;               ///< drives that the last Start walks
    int drivesDone = 0;           ///< those that were walked to the end
};

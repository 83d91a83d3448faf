// How the walks of an estimate go.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"

struct ScanProgress {
    // Counted by all walks of the object so far; what two walks have found is counted twice.
    unsigned __int64 files = 0;
    unsigned __int64 bytes = 0;
    unsigned __int64 folders = 0;
    CString folder; // that a walk is in, or was in last
    // Of the last Start.
    int drives = 0;
    int drivesDone = 0;
};

// What a walk has not gone into: a folder that is hidden, excluded or cannot be read to its end, a link that is not
// followed, something selected that is not there.
struct PassedOverPath {
    CString path;
    PathOutcome why;
};

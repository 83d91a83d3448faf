// Finds the destinations of junctions and links to folders.
#pragma once

#include "orbwatcher4/filter/ScanDisk.h"

enum class ReparseResult {
    Leads,    // to a path that is no link itself; whether anything is there has not been asked
    NoLink,   // no reparse point, or one whose tag leads nowhere: it is a folder like any other
    Unusable, // damaged, unreadable, a circle, or a chain that is too long; the log says so
};

// Follows a chain to its end. `attributes` of the path, or 0 when they are not known. Sets `destination` only when the
// path leads somewhere.
ReparseResult GetReparseDestination(ScanDisk& disk, const CString& path, DWORD attributes, CString& destination);

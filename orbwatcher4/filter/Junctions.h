// How a walk, and a test, reaches what a filter remembers of walked directories. Any thread.
#pragma once

#include "mfc/CString.h"

class OrbFilter;

class JunctionAccess
{
public:
    // True when the directory was not known yet; it gets its trailing backslash.
    static bool AddScanned(OrbFilter& filter, CString& folder);
    static bool IsScanned(OrbFilter& filter, const CString& folder);
    // Of a directory whose sub-folders have not been walked.
    static void AddFilesReported(OrbFilter& filter, const CString& folder);
    static bool AreFilesReported(OrbFilter& filter, const CString& folder);

    static void Remember(OrbFilter& filter, const CString& junction, const CString& destination);
    // A known junction that leads elsewhere now; one that is not known stays so.
    static void Correct(OrbFilter& filter, const CString& junction, const CString& destination);
    // A known junction that is a plain folder now.
    static void Forget(OrbFilter& filter, const CString& folder);
    // What is gone, with the known junctions in it: a folder may come in their place.
    static void ForgetAll(OrbFilter& filter, const CString& path);
};

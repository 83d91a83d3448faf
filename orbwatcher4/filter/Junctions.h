// Gives walks and tests access to what a filter remembers of walked directories. Any thread.
#pragma once

#include "mfc/CString.h"

class OrbFilter;

class JunctionAccess
{
public:
    // Returns true when the directory was not known yet. Adds a trailing backslash to the path.
    static bool AddScanned(OrbFilter& filter, CString& folder);
    static bool IsScanned(OrbFilter& filter, const CString& folder);
    // Notes that the files of a directory were reported, but its sub-folders were not walked.
    static void AddFilesReported(OrbFilter& filter, const CString& folder);
    static bool AreFilesReported(OrbFilter& filter, const CString& folder);

    static void Remember(OrbFilter& filter, const CString& junction, const CString& destination);
    // Corrects the destination of a known junction. An unknown one stays unknown.
    static void Correct(OrbFilter& filter, const CString& junction, const CString& destination);
    // Forgets a known junction that is a plain folder now.
    static void Forget(OrbFilter& filter, const CString& folder);
    // Forgets a path that is gone, with the known junctions below it: a folder may take their place.
    static void ForgetAll(OrbFilter& filter, const CString& path);
};

/// @file
/// What a filter remembers of walks: the directories that were walked, and the junctions that were met.
#pragma once

#include "companions/readerswriters/ReadersWriters.h"
#include "mfc/CString.h"
#include "support/HashMemory.h"
#include "support/NoCaseKeys.h"
#include "support/PathFingerprint.h"

#include <sparsehash/dense_hash_set>

#include <map>

/// The memory of walks. Any thread. A copy shares nothing with its original, inside which no thread may be meanwhile.
class WalkMemory
{
public:
    /// Makes an empty memory.
    WalkMemory();

    /// Notes a walked directory. Returns true when it was not known yet. Adds a trailing backslash to the path.
    bool AddScanned(CString& folder);
    /// Returns true for a directory that was walked.
    bool IsScanned(const CString& folder);
    /// Notes that the files of a directory were reported, but its sub-folders were not walked.
    void AddFilesReported(const CString& folder);
    /// Returns true for such a directory.
    bool AreFilesReported(const CString& folder);
    /// Forgets the directories; the junctions stay known.
    void ForgetScanned();

    /// Notes where a junction leads.
    void Remember(const CString& junction, const CString& destination);
    /// Corrects the destination of a known junction. An unknown one stays unknown.
    void Correct(const CString& junction, const CString& destination);
    /// Forgets a known junction that is a plain folder now.
    void Forget(const CString& folder);
    /// Forgets a path that is gone, with the known junctions below it: a folder may take their place.
    void ForgetAll(const CString& path);
    /// Rewrites a path that runs through a known junction to the junction's destination.
    void Follow(CString& path);

private:
    std::map<CString, CString, NoCase::Before> m_junctions; // junction ending in "\" to destination; guarded by m_lock
    ReadersWriters m_lock;
    google::dense_hash_set<PathFingerprint, std::hash<PathFingerprint>, std::equal_to<PathFingerprint>,
                           HashMemory<PathFingerprint>>
        m_scanned; // guarded by m_lock
};

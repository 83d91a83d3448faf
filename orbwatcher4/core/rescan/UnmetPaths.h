// The paths that the index holds and that no enumeration has met on the disk yet: the index library's map of deleted
// paths, which all watchers of the process share.
//
// An enumeration fills the map with the items of a root, removes those that it meets, and reports what is left as
// removed. Any thread.
#pragma once

#include "orbwatcher4/core/rescan/EnumerationParts.h"
#include "orbwatcher4/core/rescan/EnumerationTally.h"

class UnmetPaths
{
public:
    // All must outlive the object.
    UnmetPaths(const EnumerationParts& parts, EnumerationTally& tally) : m(parts), m_tally(tally) {}

    // Adds all items of the root. If the index cannot be read, a full enumeration becomes due.
    void Fill(const CString& root);
    bool Contains(const wchar_t* path) const;
    // Removes a path that exists. If memory is exhausted it stays, and the disk is asked before it is reported.
    void Remove(const wchar_t* path) noexcept;
    // Reports what is left of this watcher's selection, with the rights of the user. If that fails, a full enumeration
    // becomes due.
    void ReportAll();

private:
    bool Judge(const CString& path);
    bool IsUnknown(const CString& path);
    void ReportSelected();

    const EnumerationParts& m;
    EnumerationTally& m_tally;
};

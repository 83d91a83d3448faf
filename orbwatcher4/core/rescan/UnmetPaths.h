// The paths that the index holds and that no enumeration has met on the disk.
//
// An enumeration marks the items that it meets, in the cache of the index. At its end, the items without a mark go into
// the index library's map of deleted paths, which all watchers of the process share, and are reported as removed. A
// path that cannot be judged stays in the map. Any thread.
#pragma once

#include "orbwatcher4/core/rescan/EnumerationParts.h"
#include "orbwatcher4/core/rescan/EnumerationTally.h"

class UnmetPaths
{
public:
    // All must outlive the object.
    UnmetPaths(const EnumerationParts& parts, EnumerationTally& tally) : m(parts), m_tally(tally) {}

    // The enumeration of one root.
    struct Search {
        CString root;
        std::uint32_t run; // of the index's cache; 0: nothing can be found
    };
    // Begins the enumeration of a root. If the index cannot be read, a full enumeration becomes due.
    Search Begin(const CString& root);
    // Moves the items without a mark into the map. If the cache is not loaded any more, a full enumeration becomes due.
    void AddUnmet(const Search& search);

    // Returns true for a path that has no mark, or is in the map.
    bool Contains(const wchar_t* path) const;
    // Marks a path that exists, and removes it from the map. Returns whether the map or the marks have changed. If
    // memory is exhausted it stays, and the disk is asked before it is reported.
    bool Remove(const wchar_t* path) noexcept;
    // Reports what is left of this watcher's selection, with the rights of the user. If that fails, a full enumeration
    // becomes due.
    void ReportAll();

private:
    bool Judge(const CString& path);
    bool IsUnknown(const CString& path);
    bool HasCache(const CString& root);
    void ReportSelected();

    const EnumerationParts& m;
    EnumerationTally& m_tally;
};

// Where a walk over a selection begins and where it stops. Paths compare without regard to case and to a backslash
// at the end. Any thread.
#pragma once

#include "orbwatcher4/filter/ScanLists.h"

#include <unordered_map>
#include <unordered_set>

struct FoldedHash {
    std::size_t operator()(const CString& path) const;
};
struct FoldedEqual {
    bool operator()(const CString& left, const CString& right) const;
};
using FoldedSet = std::unordered_set<CString, FoldedHash, FoldedEqual>;

class ScanBounds
{
public:
    explicit ScanBounds(const ScanLists& lists);

    // An included folder of the same path does not open it: the exclusion wins.
    bool IsExcluded(const CString& folder) const;
    // What the deepest entry of the lists says about a folder: whether it is excluded, or walked from a root above.
    enum class Cover { None, Walked, Excluded };
    Cover CoverOf(CString folder) const;
    // The spelling in which a root that is walked with its sub-folders names this folder; null for any other folder.
    const CString* RootSpelling(const CString& folder) const;

private:
    FoldedSet m_exclusions;
    FoldedSet m_deepRoots;
};

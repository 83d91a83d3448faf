// Decides where a walk over a selection begins and ends. Paths compare without regard to case and to a backslash at the
// end. Any thread.
#pragma once

#include "orbwatcher4/filter/ScanLists.h"
#include "support/NoCaseKeys.h"

#include <unordered_map>
#include <unordered_set>

using FoldedSet = std::unordered_set<CString, NoCase::Hash, NoCase::Equal>;

class ScanBounds
{
public:
    explicit ScanBounds(const ScanLists& lists);

    // Returns true for an excluded folder, even if a rule includes the same path: the exclusion wins.
    bool IsExcluded(const CString& folder) const;
    // The answer of the deepest entry of the lists about a folder: excluded, or walked from a root above.
    enum class Cover { None, Walked, Excluded };
    Cover CoverOf(CString folder) const;
    // Returns the spelling of this folder as a root that is walked with its sub-folders; null for any other folder.
    const CString* RootSpelling(const CString& folder) const;

private:
    FoldedSet m_exclusions;
    FoldedSet m_deepRoots;
};

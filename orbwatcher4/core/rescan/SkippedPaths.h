// The paths that enumerations could not examine, until the service takes them. Any thread.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"
#include "support/RankedSection.h"

#include <set>

class SkippedPathsList
{
public:
    // Each path is named once, and no more than this many of them.
    static constexpr std::size_t MostNamed = 200;

    // Begins a new full enumeration, which names everything again. Paths that were not taken are forgotten.
    void Restart();
    void Add(const CString& path, PathOutcome why);
    // Returns the paths since the last call.
    SkippedPaths Take();

private:
    RankedSection m_lock{LockRank::Leaf, L"skipped paths"};
    std::set<CString> m_named ORB_GUARDED_BY(m_lock);
    SkippedPaths m_waiting ORB_GUARDED_BY(m_lock);
};

// The paths that enumerations could not look at, until somebody takes them. Any thread.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"
#include "support/RankedSection.h"

#include <set>

class SkippedPathsList
{
public:
    // Each path is named once, and no more than this many of them.
    static constexpr std::size_t MostNamed = 200;

    // Begins a new run over all drives, which names everything again; what nobody has taken is forgotten.
    void Restart();
    void Add(const CString& path, PathOutcome why);
    // Returns what came since the last call.
    SkippedPaths Take();

private:
    RankedSection m_lock{LockRank::Leaf, L"skipped paths"};
    std::set<CString> m_named; // guarded by m_lock
    SkippedPaths m_waiting;    // guarded by m_lock
};

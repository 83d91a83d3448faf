// Counts what the enumerations meet. Any thread.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"
#include "support/RankedSection.h"

#include <atomic>

class EnumerationTally
{
public:
    // Of a new run over all drives; others that are going on count on.
    void Restart();
    void CountFile(PathOutcome outcome);
    void CountFolder(PathOutcome outcome);
    // What was met before, or not at all.
    void CountBeside(PathOutcome outcome);
    void SetFolder(const CString& folder);
    // Without the number of runs.
    EnumerationProgress Read() const;

private:
    using Counter = std::atomic<unsigned __int64>;

    Counter m_files{0};
    Counter m_folders{0};
    std::array<Counter, PathOutcomes> m_outcomes{};
    mutable RankedSection m_lock{LockRank::Leaf, L"enumeration's folder"};
    CString m_folder; // guarded by m_lock
};

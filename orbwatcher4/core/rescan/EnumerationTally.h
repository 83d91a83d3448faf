// Counts the files and folders that enumerations meet. Any thread.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"
#include "support/RankedSection.h"

#include <atomic>

class EnumerationTally
{
public:
    // Resets the counts for a new full enumeration. Other running enumerations go on counting.
    void Restart();
    void CountFile(PathOutcome outcome);
    void CountFolder(PathOutcome outcome);
    // Counts an outcome of a path that was counted before, or not met at all.
    void CountBeside(PathOutcome outcome);
    void SetFolder(const CString& folder);
    // Returns the progress without the number of running enumerations.
    EnumerationProgress Read() const;

private:
    using Counter = std::atomic<unsigned __int64>;

    Counter m_files{0};
    Counter m_folders{0};
    std::array<Counter, PathOutcomes> m_outcomes{};
    mutable RankedSection m_lock{LockRank::Leaf, L"enumeration's folder"};
    CString m_folder ORB_GUARDED_BY(m_lock);
};

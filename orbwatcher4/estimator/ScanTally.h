/// @file
/// Counts and lists what the estimator's walks meet. Any thread.
#pragma once

#include "orbwatcher4/ScanProgress.h"
#include "orbwatcher4/filter/WalkObserver.h"
#include "support/RankedSection.h"

#include <atomic>
#include <map>
#include <vector>

/// The counts of one estimator.
class ScanTally final : public WalkObserver
{
public:
    /// A file of so many bytes was met.
    void CountFile(unsigned __int64 size);
    /// A folder was met.
    void Entering(const CString& folder) override;
    /// It was met and not gone into.
    void PassedOver(const CString& path, PathOutcome why) override;

    /// So many drives are walked from now on.
    void BeginDrives(int drives);
    /// One of them was walked to the end.
    void EndDrive() { ++m_drivesDone; }

    /// The counts of this moment.
    ScanProgress Read() const;
    /// Each path once, in order; what the last walk had to say of it.
    std::vector<PassedOverPath> ReadPassedOver() const;

private:
    std::atomic<unsigned __int64> m_files{0};
    std::atomic<unsigned __int64> m_bytes{0};
    std::atomic<unsigned __int64> m_folders{0};
    std::atomic<int> m_drives{0};
    std::atomic<int> m_drivesDone{0};
    mutable RankedSection m_lock{LockRank::Leaf, L"estimate's passed-over paths"};
    CString m_folder;                            // guarded by m_lock
    std::map<CString, PathOutcome> m_passedOver; // guarded by m_lock
};

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
    /// Counts a file of so many bytes.
    void CountFile(unsigned __int64 size);
    /// Counts a folder.
    void Entering(const CString& folder) override;
    /// Notes a path that was met and not entered.
    void PassedOver(const CString& path, PathOutcome why) override;

    /// Begins a scan of so many drives.
    void BeginDrives(int drives);
    /// Counts a drive that was walked to its end.
    void EndDrive() { ++m_drivesDone; }

    /// Returns the present counts.
    ScanProgress Read() const;
    /// Returns each path once, in order, with the reason of the last walk.
    std::vector<PassedOverPath> ReadPassedOver() const;

private:
    std::atomic<unsigned __int64> m_files{0};
    std::atomic<unsigned __int64> m_bytes{0};
    std::atomic<unsigned __int64> m_folders{0};
    std::atomic<int> m_drives{0};
    std::atomic<int> m_drivesDone{0};
    mutable RankedSection m_lock{LockRank::Leaf, L"estimate's passed-over paths"};
    CString m_folder ORB_GUARDED_BY(m_lock);
    std::map<CString, PathOutcome> m_passedOver ORB_GUARDED_BY(m_lock);
};

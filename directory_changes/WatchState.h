// Where one watch stands, and the worker's lease on it. While the worker handles a packet of a watch, it has the lease:
// only the worker uses the read of the watch then. Until it gives the lease back, a caller may not act for it.
#pragma once

#include "directory_changes/DirectoryRead.h"
#include "directory_changes/WatchTransitions.h"
#include "support/RankedSection.h"

class WatchState
{
public:
    // The read must outlive the state.
    explicit WatchState(DirectoryRead& read) : m_read(read) {}

    // Any thread.
    RunningState Now() const;
    // Returns true when the watch was told to stop, or has ended.
    bool IsEnding() const;
    // Gives an input of a caller. `workerHasEnded`: a lease of the worker counts for nothing.
    WatchStep Take(WatchInput input, bool workerHasEnded = false);

    // Worker: gives an input and takes the lease.
    WatchStep BeginLease(WatchInput input);
    // Worker: gives the lease back and returns false; or, when the packet of a stop was refused meanwhile, keeps it and
    // returns true with the next step.
    bool EndLease(WatchStep& step);

private:
    WatchStep TakeInside(WatchInput input) ORB_REQUIRES(m_section);

    DirectoryRead& m_read;
    mutable RankedSection m_section{LockRank::EngineRecord, L"engine record"};
    RunningState m_state ORB_GUARDED_BY(m_section) = StateNotSet;
    bool m_leased ORB_GUARDED_BY(m_section) = false;
    bool m_packetRefused ORB_GUARDED_BY(m_section) = false; // during the lease
};

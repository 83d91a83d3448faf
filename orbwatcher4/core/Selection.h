// Both filters of a watcher, each with its lock.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "support/RankedSection.h"

// Every change takes these locks and that of the store, for a short time: whoever finds one taken looks again so often
// before it sleeps.
constexpr DWORD ShortWaitSpins = 500;

struct Selection {
    RankedSection primaryLock{LockRank::PrimaryFilter, L"primary filter", ShortWaitSpins};
    RankedSection secondaryLock{LockRank::SecondaryFilter, L"secondary filter", ShortWaitSpins};
    OrbFilter primary ORB_GUARDED_BY(primaryLock);
    OrbFilter secondary ORB_GUARDED_BY(secondaryLock);

    // Edits both filters, one after the other.
    template <typename Operation>
    void Edit(Operation edit)
    {
        {
            const CSingleLock lock(primaryLock);
            edit(primary);
        }
        const CSingleLock lock(secondaryLock);
        edit(secondary);
    }
    // The memory of walks has a lock of its own, and a walk works on a copy of the rules.
    OrbFilter& PrimaryWalks() ORB_UNCHECKED_LOCKS { return primary; }
};

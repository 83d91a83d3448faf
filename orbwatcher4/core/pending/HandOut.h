// Hands pending files to the backup service, one at a time.
#pragma once

#include "orbwatcher4/core/pending/HandOutJudge.h"

#include <functional>

class HandOut
{
public:
    // processDeletions: called with no lock held but that of the hand-out, once for each Take that meets a deletion. It
    // decides whether they are processed now.
    HandOut(const Config& config, Selection& selection, PendingStore& pending, std::function<void()> processDeletions);

    // Hands out one file with the rights of the user. Returns false when there is none to be had now. If the judgement
    // of a file fails, the file stays pending. sameRunIds and identity may be null. Any thread.
    bool Take(std::set<std::uint64_t>* sameRunIds, QueueDatum& out, FileIdentity* identity);

private:
    bool TakeOne(std::set<std::uint64_t>* sameRunIds, QueueDatum& out, FileIdentity* identity);
    bool IsNothingPending(PendingStore::Locked& store);

    friend class WatcherAccess; // tests

    const Config& m_config;
    Selection& m_selection;
    PendingStore& m_pending;
    const std::function<void()> m_processDeletions;
    RankedSection m_lock{LockRank::HandOut, L"hand-out"};
    HandOutMemory m_memory ORB_GUARDED_BY(m_lock);
};

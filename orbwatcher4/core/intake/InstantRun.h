// The event that wakes a service for files that are to be backed up at once. Any thread.
#pragma once

#include "orbwatcher4/core/environment/Config.h"
#include "support/Handle.h"
#include "support/RankedSection.h"

class InstantRun
{
public:
    explicit InstantRun(const Config& config) : m_config(config) {}

    // Returns true for a file whose name matches one of the configured patterns.
    bool IsWantedFor(const wchar_t* path) const noexcept;
    void Signal() noexcept;

private:
    friend class WatcherAccess; // tests

    const Config& m_config;
    RankedSection m_lock{LockRank::Leaf, L"instant run"};
    KernelHandle m_event ORB_GUARDED_BY(m_lock); // open after the first success
};

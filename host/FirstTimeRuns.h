// A service's part in enumerations: it starts one when asked to, and notes when a full one has completed. The time of
// that note decides when the next one is due.
//
// In a data folder that was never used, a full enumeration would be due at once. Here only later changes are wanted,
// unless --enumerate says otherwise. One thread.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "support/Handle.h"

class FirstTimeRuns
{
public:
    // Call it before the watcher is started.
    explicit FirstTimeRuns(COrbWatcher& watcher);

    // For a data folder that was never used: makes no enumeration due.
    void Prepare();
    // Returns false when an enumeration cannot be started, for example because one is running.
    bool Start();
    // Notes a completed enumeration; call it now and then. Returns true while an enumeration is running, a full one or
    // that of one root.
    bool Follow();

private:
    COrbWatcher& m_watcher;
    KernelHandle m_completed;
};

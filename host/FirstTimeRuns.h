// A service's part in enumerations: it makes one due when asked to, starts one, and notes when a full one has
// completed. The time of that note decides when the next one is due.
//
// A full enumeration is due in a data folder that was never used, and with an index that is new: what is there already
// was never handed out. One thread.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "support/Handle.h"

class FirstTimeRuns
{
public:
    // Call it before the watcher is started.
    explicit FirstTimeRuns(COrbWatcher& watcher);

    // Makes a full enumeration due, which a watch then makes at its start. `reason`: one of FullDue, or null. Returns
    // false when that cannot be written: it is then due for this process alone.
    static bool MakeDue(const wchar_t* reason);
    // Returns true when a full enumeration is due.
    static bool IsDue();
    // Returns true when a full enumeration was completed for this data folder, or is noted as due.
    static bool WasAnyNoted();

    // Returns false when an enumeration cannot be started, for example because one is running.
    bool Start();
    // Notes that the watcher, which is ready, will begin the enumeration that is due.
    void Await();
    // Notes a completed enumeration; call it now and then. Returns true while an enumeration is running, a full one or
    // that of one root, and, for half a minute, while the awaited one has not begun.
    bool Follow();

private:
    COrbWatcher& m_watcher;
    KernelHandle m_completed;
    double m_awaitedUntil = 0; // seconds
};

// What a service does about enumerations: it starts one when asked to, and writes
// when one has completed, which is what the rule for the next one goes by.
//
// A data folder that nobody has used yet would make one due at once; here only what
// changes from now on is wanted, unless --enumerate says otherwise. One thread.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "support/Handle.h"

class FirstTimeRuns
{
public:
    // Before the watcher is started.
    explicit FirstTimeRuns(COrbWatcher& watcher);

    // Of a data folder that nobody has used yet: no run is due.
    void Prepare();
    // False when one is going on already.
    bool Start();
    // Asked now and then. True while a run over all drives or over one is going on.
    bool Follow();

private:
    COrbWatcher& m_watcher;
    KernelHandle m_completed;
};

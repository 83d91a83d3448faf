// A worker and its port: from the first watch of a watcher until all have been
// ended. Whoever starts or ends a watch holds its run, so that neither handle is
// closed under a wait.
#pragma once

#include "support/Handle.h"

class CDirectoryChangeWatcher;

struct EngineRun {
    CDirectoryChangeWatcher& watcher;
    KernelHandle port = {};
    KernelHandle worker = {}; // null until it could be started
    unsigned workerId = 0;
};

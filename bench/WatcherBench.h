// A watcher whose selection is one tree, for cases that run one.
#pragma once

#include "bench/FileTree.h"
#include "orbwatcher4/OrbWatcher.h"
#include "support/Handle.h"

class WatcherBench
{
public:
    explicit WatcherBench(const FileTree& tree);

    // The enumeration from its start to its end.
    void Enumerate();

    COrbWatcher watcher{false};

private:
    KernelHandle m_completed;
};

// What tests see of a watcher that its users do not.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/core/WatcherState.h"

class WatcherAccess
{
public:
    static WatcherState& State(COrbWatcher& watcher) { return *watcher.m; }
    static ChangeHandler& Handler(COrbWatcher& watcher) { return watcher.m->changeHandler; }
    static bool Progress(COrbWatcher& watcher) { return watcher.ProgressCallback(); }
    static bool IsIgnoredDedupPath(COrbWatcher& watcher, const wchar_t* path)
    {
        return watcher.IsIgnoredDedupPath(path);
    }
    static int UsesBlockLevel(COrbWatcher& watcher, const wchar_t* path) { return watcher.UsesBlockLevel(path, 0); }
};

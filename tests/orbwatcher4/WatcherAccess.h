// What tests see of a watcher that its users do not.
#pragma once

#include "directory_changes/DirWatchInfo.h"
#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/core/WatchLoop.h"
#include "orbwatcher4/core/WatcherState.h"

class EngineAccess
{
public:
    // The key of the only record; a watch that is started anew has another one.
    static ULONG_PTR OnlyKey(const CDirectoryChangeWatcher& engine)
    {
        return engine.m_records.size() == 1 && engine.m_records[0] ? engine.m_records[0]->Key() : 0;
    }
};

class WatcherAccess
{
public:
    static WatcherState& State(COrbWatcher& watcher) { return *watcher.m; }
    static ChangeHandler& Handler(COrbWatcher& watcher) { return watcher.m->changeHandler; }
    // As when the watch has ended with an error.
    static void EndWatch(WatchLoop& loop, const wchar_t* root) { loop.m_engine.UnwatchDirectory(root); }
    static ULONG_PTR OnlyWatchKey(const WatchLoop& loop) { return EngineAccess::OnlyKey(loop.m_engine); }
    static bool IsWatching(const WatchLoop& loop, const wchar_t* root)
    {
        return const_cast<WatchLoop&>(loop).m_engine.IsWatchingDirectory(root);
    }
    // As the thread does that StartWatch starts.
    static void UpdateOverlays(COrbWatcher& watcher) { COrbWatcher::_FirstTimeAutoExOverlayUpdater(&watcher); }
    // Waits for the enumerations that were started.
    static void EndRuns(COrbWatcher& watcher) { watcher.EndRuns(); }
    static bool StartSingleDriveRun(COrbWatcher& watcher, const wchar_t* root)
    {
        return watcher.StartSingleDriveRun(root);
    }
    static bool Progress(COrbWatcher& watcher) { return watcher.ProgressCallback(); }
    static int UsesBlockLevel(COrbWatcher& watcher, const wchar_t* path) { return watcher.UsesBlockLevel(path, 0); }
};

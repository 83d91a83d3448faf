#include "orbwatcher4/core/WatcherParts.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/intake/LoadedSelection.h"
#include "orbwatcher4/core/selection/PluginTable.h"

WatcherParts::WatcherParts(bool useDrDeleteMap)
    : config(useDrDeleteMap),
      deletions({config, stop, selection, pending, intake.handler}, due),
      handOut(config, selection, pending, [this] { deletions.ProcessForHandOut(); }),
      enumerator({config, stop, due, selection, overlay, pending, intake.handler},
                 [this](const CString& root) { return drives.StateOf(root) == Drive::State::BeingRemoved; }),
      supervisor({config, stop, due, selection, overlay, pending, intake.handler, intake.replay, deletions, enumerator,
                  drives})
{
}

bool WatcherParts::LoadSelection()
{
    const bool loaded = selection.Load(overlay.ForFilter());
    selection.RequestItsRoots();
    NoticeLoadedSelection(due, selection);
    return loaded;
}

void WatcherParts::Start()
{
    const CSingleLock oneAtATime(lifecycle.lock);
    // An earlier run is ended first, because its threads need the selection to end. A status that came before the start
    // has begun the overlay sender, with the rights of then.
    if (selection.requestedRoots.IsWatching() || supervisor.IsStarted() || overlayUpdater.IsStarted() ||
        overlay.Sender().IsRunning())
        StopThreads();
    due.BeginRun(config.Use());
    selection.requestedRoots.SetWatching(true);
    stop.ResetEvent();
    const auto load = [this] {
        const CSingleLock oneLoadAtATime(selection.filesLock);
        if (!selection.Load(overlay.ForFilter()))
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The selection could not be read whole: %s",
                              config.files.data.GetString());
        Completes(L"FillPluginTable", [this] { FillPluginTable(config); });
    };
    if (!Completes(L"Loading the selection", load))
        due.MakeFull();
    NoticeLoadedSelection(due, selection);
    Completes(L"Looking for files of others in the data folder", [this] { selection.WarnOfDataFolder(); });
    overlayUpdater.Start();
    supervisor.Start();
}

void WatcherParts::Stop()
{
    const CSingleLock oneAtATime(lifecycle.lock);
    StopThreads();
}

// The signals are reset, once, after every thread has ended.
void WatcherParts::StopThreads()
{
    const COrbFuncLog guard(L"COrbWatcher::AbortWatching");
    lifecycle.lock.RequireHeld();
    stop.SetEvent();
    enumerator.Refuse();
    supervisor.Join();
    overlayUpdater.Join();
    enumerator.EndRuns();
    deletions.Join();
    overlay.Sender().Join(); // all threads that have statuses for it have ended
    enumerator.Allow();
    supervisor.ForgetReady();
    stop.ResetEvent();
    selection.requestedRoots.SetWatching(false);
}

bool WatcherParts::IsAnyThreadRunning() const
{
    lifecycle.lock.RequireHeld();
    return supervisor.IsRunning() || overlayUpdater.IsRunning() || enumerator.IsAnyThreadRunning() ||
           overlay.Sender().IsRunning();
}

void WatcherParts::End()
{
    {
        const CSingleLock oneAtATime(lifecycle.lock);
        if (IsAnyThreadRunning())
            StopThreads();
    }
    dump.Write();
    // The mark stays when the next start would otherwise not know what is pending, nor that it must enumerate.
    due.EndRun(dump.IsKept());
    Completes(L"The end", [this] { selection.Clear(); });
    lifecycle.initialized = 0;
    Completes(L"ClearNotifications", [this] { pending.Clear(); });
    overlay.Sender().Clear();
}

// Creates, starts, stops and destroys a watcher.
#include "orbwatcher4/capi/WatcherObject.h"

namespace
{

WatcherSetup SetupOf(const OrbWatcherOptions& options)
{
    WatcherSetup setup;
    setup.selection = RequiredText(options.selection);
    setup.indexDatabase = RequiredText(options.indexDatabase);
    setup.autoExclusions = OptionalText(options.autoExclusions);
    setup.advancedRules = OptionalText(options.advancedRules);
    setup.secondaryRules = OptionalText(options.secondaryRules);
    setup.destination = OptionalText(options.destination);
    setup.hiddenFiles = options.hiddenFiles != 0;
    setup.keepEvents = options.keepEvents != 0;
    return setup;
}

OrbResult WaitReady(OrbWatcherObject& watcher, uint32_t milliseconds)
{
    const auto ready = [](COrbWatcher& running) { return running.WaitUntilReady(0); };
    return watcher.Becomes(ready, milliseconds)
               ? ORB_OK
               : NoteFailure(ORB_TIMED_OUT, L"some roots of the selection have not been tried yet");
}

} // namespace

OrbResult ORB_CALL OrbWatcherCreate(const OrbWatcherOptions* options, OrbWatcherHandle* watcher)
{
    return Guarded([&] {
        Required(watcher) = nullptr;
        *watcher = new OrbWatcherObject(SetupOf(CopyIn(options)));
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbWatcherStart(OrbWatcherHandle watcher, uint32_t milliseconds)
{
    return Guarded([&] {
        Required(watcher).Start();
        return WaitReady(*watcher, milliseconds);
    });
}

OrbResult ORB_CALL OrbWatcherWaitReady(OrbWatcherHandle watcher, uint32_t milliseconds)
{
    return Guarded([&] { return WaitReady(Required(watcher), milliseconds); });
}

OrbResult ORB_CALL OrbWatcherRoots(OrbWatcherHandle watcher, wchar_t* buffer, uint32_t capacity, uint32_t* needed)
{
    return Guarded([&] {
        std::wstring list;
        for (const CString& root :
             Required(watcher).WhileWatching([](COrbWatcher& running) { return running.GetWatchedRoots(); }))
            list += (list.empty() ? L"" : L"|") + std::wstring(root.View());
        return GiveText(list, buffer, capacity, needed);
    });
}

OrbResult ORB_CALL OrbWatcherStop(OrbWatcherHandle watcher)
{
    return Guarded([&] { return Required(watcher).Stop() ? ORB_OK : NoteFailure(ORB_PENDING_NOT_KEPT); });
}

OrbResult ORB_CALL OrbWatcherIsPendingKept(OrbWatcherHandle watcher, uint32_t* kept)
{
    return Guarded([&] {
        Required(kept) = Required(watcher).IsPendingKept() ? 1 : 0;
        return ORB_OK;
    });
}

void ORB_CALL OrbWatcherDestroy(OrbWatcherHandle watcher) { delete watcher; }

// Full enumerations: start and progress.
#include "orbwatcher4/capi/WatcherObject.h"

namespace
{

static_assert(PathOutcomes == ORB_SKIPPED_WALKED_ALREADY + 1 && PathOutcomes <= ORB_OUTCOME_CAPACITY);
static_assert(ORB_UNREADABLE == static_cast<int>(PathOutcome::Unreadable) &&
              ORB_SKIPPED_HIDDEN == static_cast<int>(FirstSkipped) &&
              ORB_SKIPPED_NOT_SELECTED == static_cast<int>(PathOutcome::NotSelected) &&
              ORB_SKIPPED_DELAYED == static_cast<int>(PathOutcome::Delayed));

bool IsIdle(COrbWatcher& watcher) { return watcher.GetEnumerationProgress().running == 0; }

void Give(const EnumerationProgress& from, bool completed, OrbEnumerationProgress* progress)
{
    OrbEnumerationProgress filled = {};
    filled.running = static_cast<uint32_t>(from.running);
    filled.completed = completed;
    filled.files = from.files;
    filled.folders = from.folders;
    std::copy(from.outcomes.begin(), from.outcomes.end(), filled.outcomes);
    PutText(filled.folder, from.folder.View());
    CopyOut(filled, progress);
}

} // namespace

OrbResult ORB_CALL OrbEnumerationStart(OrbWatcherHandle watcher)
{
    return Guarded([&] {
        return Required(watcher).WhileWatching([](COrbWatcher& running) -> OrbResult {
            if (running.StartFirstTimeRun(0) != 0)
                return ORB_OK;
            return NoteFailure(IsIdle(running) ? ORB_FAILED : ORB_BUSY);
        });
    });
}

OrbResult ORB_CALL OrbEnumerationGetProgress(OrbWatcherHandle watcher, OrbEnumerationProgress* progress)
{
    return Guarded([&] {
        RequireSize(progress);
        const EnumerationProgress from =
            Required(watcher).WhileWatching([](COrbWatcher& running) { return running.GetEnumerationProgress(); });
        // Checked after the progress: an enumeration sets its event before it ends.
        Give(from, IsSignalled(watcher->Completed()), progress);
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbEnumerationWait(OrbWatcherHandle watcher, uint32_t milliseconds)
{
    return Guarded([&] {
        return Required(watcher).Becomes(IsIdle, milliseconds) ? ORB_OK
                                                               : NoteFailure(ORB_TIMED_OUT, L"a run is still going on");
    });
}

OrbResult ORB_CALL OrbEnumerationNoteCompleted(OrbWatcherHandle watcher)
{
    return Guarded([&] {
        return Required(watcher).WhileWatching([&](COrbWatcher& running) -> OrbResult {
            if (!IsSignalled(watcher->Completed()))
                return ORB_NOTHING;
            ResetEvent(watcher->Completed());
            running.NoteFirstTimeRunCompleted();
            return ORB_OK;
        });
    });
}

// Hands deletions and rescans to the service.
#include "orbwatcher4/capi/WatcherObject.h"

OrbResult ORB_CALL OrbDeletionTake(OrbWatcherHandle watcher, OrbDeletion* deletion)
{
    return Guarded([&] {
        RequireSize(deletion);
        DeletionRecord record;
        if (!Required(watcher).Events().Take(record))
            return ORB_NOTHING;
        OrbDeletion filled = {};
        filled.job = record.job;
        filled.id = record.id;
        PutText(filled.path, record.path.View());
        CopyOut(filled, deletion);
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbRescanTake(OrbWatcherHandle watcher, OrbRescan* rescan)
{
    return Guarded([&] {
        RequireSize(rescan);
        KeptEvents::Rescan record;
        if (!Required(watcher).Events().Take(record))
            return ORB_NOTHING;
        OrbRescan filled = {};
        PutText(filled.reason, record.reason);
        PutText(filled.root, record.root.View());
        CopyOut(filled, rescan);
        return ORB_OK;
    });
}

// Puts pending changes of paths that no disk holds into a watcher.
#pragma once

#include "tests/orbwatcher4/WatcherAccess.h"

inline void PutPending(COrbWatcher& watcher, const CString& path, NotificationKind kind)
{
    auto notification = std::make_shared<Notification>();
    notification->kind = kind;
    WatcherAccess::Parts(watcher).pending.Put(path, notification);
}

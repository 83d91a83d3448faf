// Carrying what is pending over a restart.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/DumpFile.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/Impersonation.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/SystemPath.h"

void COrbWatcher::Resume()
{
    const CallerTokenScope token;
    // The replay asks both filters with the store held, so that they are entered first. Without rules every
    // path would be dropped, and the dump with them.
    const ObjectLock primary(m->locks, &m->filter);
    const ObjectLock secondary(m->locks, &m->secondaryFilter);
    if (!m->filter.HasRules())
        LoadSelection();
    const ObjectLock store(m->locks, &m->store);
    ReplayDump();
}

void COrbWatcher::ReplayDump()
{
    const CString path = DumpFilePath();
    if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES)
        return;
    const auto stop = [this] { return m->stop.IsSet(); };
    if (ReadDump(path, stop, [this](const CString& line) { ReplayLine(line); }))
        DeleteFileW(path);
}

// The dump knows no kinds: a path that is gone was, or has become, a deletion.
void COrbWatcher::ReplayLine(const CString& path)
{
    if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES)
        m->changeHandler.ProcessChangedFile(path, false, false);
    else if (IsReallyGone(path))
        m->changeHandler.OnFileRemoved(path);
    else
        m->changeHandler.KeepUnreachable(path);
}

void COrbWatcher::DumpStore()
{
    const ObjectLock lock(m->locks, &m->store);
    const std::int64_t count = m->store.LiveCount();
    g_OrbLog.Log(L"Dumping %d files to disk", static_cast<int>(count));
    if (count > 0) {
        bool whole = false;
        {
            DumpWriter dump(DumpFilePath(), *m->writer);
            if (dump.IsOpen()) {
                whole = true;
                m->store.ForEach([&](const CString& path, const NotificationPtr&) { return whole = dump.Write(path); });
            }
            if (!whole)
                m->MakeFullEnumerationDue(); // what could not be written is found again by looking
            if (!dump.IsOpen())
                return;
        }
    }
    g_OrbLog.Log(L"Watcher dump completed.");
}

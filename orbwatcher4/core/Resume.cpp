// Keeps pending files over a restart.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/DumpFile.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/Impersonation.h"
#include "support/SystemPath.h"
#include "support/TrustedFile.h"

namespace
{

// Returns true for a full path as the store writes it: with a drive or a share, and without a device, "/", "." or "..".
bool IsPlain(const CString& path)
{
    return path.View().find(L'?') == std::wstring_view::npos && SystemPath(path).View().starts_with(L"\\\\?\\");
}

// Decides by the rules and the index alone, without the disk: opening a path that another account has written could
// tell that account's server who this service is.
bool ConcernsSelection(WatcherState& state, const CString& line)
{
    FilterList rules;
    for (OrbFilter* filter : {&state.filter, &state.secondaryFilter}) {
        const ObjectLock lock(state.locks, filter);
        const InclusionType result = filter->CheckForInclusion(line, &rules, true, false);
        if (result == Included || result == NotApplicable)
            return true;
    }
    CachedDatum datum;
    const CString path = WithoutBackslash(line);
    return CIndexDB::GetCachedData(path.GetString(), datum) || CIndexDB::HasCachedItemsBelow(path);
}

} // namespace

// If the replay fails, the dump stays.
void COrbWatcher::Resume()
{
    const ActingForUser user(m->userToken);
    m->due.BeginRun(m->Use());
    if (!user.Acts()) {
        m->dumpWaits = true;
        return;
    }
    Completes(L"The replay of the dump", [this] { ReplayPending(); });
}

void COrbWatcher::ReplayWaitingDump()
{
    if (!m->dumpWaits)
        return;
    const ActingForUser user(m->userToken);
    if (!user.Acts())
        return;
    m->dumpWaits = false;
    Completes(L"The replay of the dump", [this] { ReplayPending(); });
}

void COrbWatcher::ReplayPending()
{
    // The replay asks both filters with the store locked, so their locks come first. Without the selection, paths would
    // be dropped, and the dump with them.
    const ObjectLock primary(m->locks, &m->filter);
    const ObjectLock secondary(m->locks, &m->secondaryFilter);
    if (!m->selectionLoaded && !ReloadRules()) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump waits until the selection can be read");
        m->dumpWaits = true;
        return;
    }
    const ObjectLock store(m->locks, &m->store);
    ReplayDump();
}

void COrbWatcher::ReplayDump()
{
    if (m->due.IsFolderForeign() || !DumpExists())
        return;
    const auto stop = [this] { return m->stop.IsSet(); };
    switch (ReadDump(DumpFilePath(), stop, [this](const CString& line) { ReplayLine(line); })) {
    case DumpRead::Broken:
        return;
    case DumpRead::NotTrusted:
        DistrustDump(GetLastError());
        return;
    case DumpRead::LinesPassedOver:
        m->due.MakeFull(); // the full enumeration finds the paths that were not read
        break;
    case DumpRead::Whole:
        break;
    }
    RemoveDump();
}

// The paths in it may be invented, and pending paths may be missing, so a full enumeration becomes due.
void COrbWatcher::DistrustDump(DWORD error)
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump %s is not replayed: %s.", DumpFilePath().GetString(),
                      OpeningFailure(error).GetString());
    if (m->due.MakeFull() && error != LinkMet && !SetDumpAside())
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump cannot be put aside: %d", GetLastError());
}

// The dump does not contain the kinds of changes: a path that is gone was deleted, then or since.
void COrbWatcher::ReplayLine(const CString& line)
{
    // Events name a folder without its backslash, and their length is limited.
    const bool folder = line.GetLength() > 3 && line[line.GetLength() - 1] == L'\\';
    const CString path = folder ? line.Left(line.GetLength() - 1) : line;
    if (!IsPlain(path)) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump names what is no path; it is not looked at: %s",
                          path.GetString());
        return;
    }
    if (!ConcernsSelection(*m, line)) {
        if (!CIndexDB::CacheLoaded())
            m->due.MakeFull(); // it may be a folder with items in the index
        return;
    }
    if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES)
        m->changeHandler.ProcessChangedFile(path, false, false);
    else if (m->IsGone(path))
        ReplayRemoval(path);
    else
        m->changeHandler.KeepUnreachable(line);
}

// Without the index it is unknown whether the path was backed up, so a full enumeration becomes due.
void COrbWatcher::ReplayRemoval(const CString& path)
{
    if (!CIndexDB::CacheLoaded())
        m->due.MakeFull();
    m->changeHandler.OnFileRemoved(path);
}

void COrbWatcher::DumpStore()
{
    const ObjectLock lock(m->locks, &m->store);
    const std::int64_t count = m->store.LiveCount();
    g_OrbLog.Log(L"Dumping %d files to disk", static_cast<int>(count));
    m->pendingKept = true;
    if (count > 0 && m->due.IsFolderForeign()) {
        m->pendingKept = false;
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"The data folder is that of another selection: %d pending files are not kept, a full "
                          L"enumeration is due at the next start",
                          static_cast<int>(count));
        return;
    }
    if (count > 0) {
        bool whole = false;
        {
            DumpWriter dump(DumpFilePath(), *m->writer);
            if (dump.IsOpen()) {
                whole = true;
                m->store.ForEach([&](const CString& path, const NotificationPtr& notification) {
                    // A list of paths cannot express the deletion of a folder's children when another file has taken
                    // its place.
                    if (notification->kind == NotificationKind::Deleted && !IsReallyGone(WithoutBackslash(path)))
                        m->due.MakeFull();
                    return whole = dump.Write(path);
                });
            }
            // The dump is on the disk before the running mark is removed: a power cut after an orderly end must not
            // lose both.
            whole = whole && dump.Flush();
            m->pendingKept = whole;
            if (!whole)
                m->due.MakeFull(); // the full enumeration finds the paths that could not be written
            if (!dump.IsOpen())
                return;
        }
    }
    g_OrbLog.Log(L"Watcher dump completed.");
}

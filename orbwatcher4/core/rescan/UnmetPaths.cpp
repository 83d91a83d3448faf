#include "orbwatcher4/core/rescan/UnmetPaths.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/AskedRoots.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/Backslash.h"
#include "support/SystemPath.h"

namespace
{

CCriticalSection& SectionOf(bool disasterRecovery)
{
    return disasterRecovery ? CIndexDB::m_csMapDeleteDR : CIndexDB::m_csMapDelete;
}

DeleteMap& MapOf(bool disasterRecovery)
{
    return disasterRecovery ? CIndexDB::m_mapDeleteDRPtr : CIndexDB::m_mapDeletePtr;
}

// An empty root stands for all roots of the selection.
const wchar_t* NameOf(const CString& root) { return root.IsEmpty() ? L"the selection" : root.GetString(); }

} // namespace

bool UnmetPaths::Remove(const wchar_t* path) noexcept
{
    bool removed = false;
    Completes(L"RemoveFromDeleteMap", [&] {
        removed = CIndexDB::Meet(path);
        const CSingleLock lock(SectionOf(m.config.useDrDeleteMap));
        DeleteMap& map = MapOf(m.config.useDrDeleteMap);
        if (!map.empty() && map.erase(WithoutBackslash(path)) > 0) // spelled as the items of the index
            removed = true;
    });
    return removed;
}

bool UnmetPaths::Contains(const wchar_t* path) const
{
    if (CIndexDB::IsUnmet(path))
        return true;
    const CSingleLock lock(SectionOf(m.config.useDrDeleteMap));
    const DeleteMap& map = MapOf(m.config.useDrDeleteMap);
    return !map.empty() && map.contains(WithoutBackslash(path));
}

void UnmetPaths::ReportAll()
{
    const ActingForUser user(m.config.userToken);
    if (!user.Acts() || !Completes(L"TrimDeleteMap", [this] { ReportSelected(); }))
        m.due.MakeFull();
}

// Handles only the roots of this watcher's selection: other watchers share the map, and a drive letter that the rules
// no longer name may hold any volume.
void UnmetPaths::ReportSelected()
{
    const DriveList selected = m.selection.Drives();
    const CSingleLock lock(SectionOf(m.config.useDrDeleteMap));
    AskedRoots roots;
    // Removes the judged entries. The next enumeration of their root finds them again.
    std::erase_if(MapOf(m.config.useDrDeleteMap), [&](const auto& entry) {
        const CString& path = entry.first;
        return !m.stop.IsSet() && selected.contains(OrbFilter::StripToRoot(path)) &&
               roots.IsUsable(path, [&] { return IsReachable(path); }) && Judge(path);
    });
    for (const CString& root : roots.Unusable()) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"What disappeared from %s is looked for when it can be reached",
                          root.GetString());
        m.due.Rescans().Report(OrbFilter::StripToRoot(root), DueRescans::DriveReturned, m.config.clock->Seconds());
    }
}

// Reports the deletion of a path that the index holds and that is gone. Returns false when that could not be found out.
bool UnmetPaths::Judge(const CString& path)
{
    CString asked = path;
    if (IsDirectory(path))
        asked += L'\\';
    bool selected = false;
    {
        const CSingleLock lock(m.selection.primaryLock);
        selected = m.selection.primary.CheckForInclusion(asked, nullptr, true, true) == Included;
    }
    if (!selected)
        return true;
    if (!m.selection.IsGone(path))
        return !IsUnknown(path);
    g_OrbLog.Log(m.config.useDrDeleteMap ? L"Removing deleted file from DR backup: %s"
                                         : L"Removing deleted file from data backup: %s",
                 path.GetString());
    m.due.Found(path);
    m.handler.OnFileRemoved(path);
    // The removal has replaced a change that was reported for a file that has just come back.
    if (!m.selection.IsGone(path))
        m.handler.ProcessChangedFile(path, Arrival::Found);
    return true;
}

// Returns true when the enumeration could not find out whether the path exists, and another one might. A refused path
// does not count, because another enumeration would be refused, too.
bool UnmetPaths::IsUnknown(const CString& path)
{
    if (m.selection.volumes.IsOther(path))
        return true;
    if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES) {
        m.due.Found(path);
        return false;
    }
    const DWORD error = GetLastError();
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Whether %s was deleted cannot be found out: %d", path.GetString(),
                      error);
    m_tally.CountBeside(PathOutcome::Unreadable);
    if (error != ERROR_ACCESS_DENIED)
        m.due.MakeFullOnceFor(path);
    return true;
}

// Returns false when the cache of the index cannot tell what has disappeared from the root: then a full enumeration
// becomes due.
bool UnmetPaths::HasCache(const CString& root)
{
    if (CIndexDB::CacheLoaded())
        return true;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"What disappeared from %s cannot be found, the cache of the index is not loaded", NameOf(root));
    m.due.MakeFull();
    return false;
}

UnmetPaths::Search UnmetPaths::Begin(const CString& root)
{
    if (m.config.indexDatabase.IsEmpty() || !HasCache(root))
        return {root, 0};
    CIndexDB index;
    index.SetDBFilePath(m.config.indexDatabase);
    if (index.Open(0, 0, 0)) {
        const std::uint32_t run = CIndexDB::BeginRun();
        if (run == 0)
            HasCache(root); // it was dropped meanwhile
        return {root, run};
    }
    // Without its database, no deletion could be recorded.
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"What disappeared from %s cannot be found, the index failed: %s",
                      NameOf(root), index.GetLastDbErrorText().GetString());
    m.due.MakeFull();
    return {root, 0};
}

void UnmetPaths::AddUnmet(const Search& search)
{
    if (search.run == 0 || !HasCache(search.root))
        return;
    UnmetItems items{search.run, search.root};
    while (CIndexDB::ReadUnmet(items)) {
        const CSingleLock lock(SectionOf(m.config.useDrDeleteMap));
        for (const CachedDatum& item : items.found)
            MapOf(m.config.useDrDeleteMap).emplace(item.path, item.id);
    }
    HasCache(search.root); // the read also ends when the cache is dropped meanwhile
}

// The paths that the index holds and nobody has seen on the disk yet.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/SystemPath.h"

#include <map>

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

// Each root is asked once.
class Roots
{
public:
    bool IsReachable(const CString& path)
    {
        const auto [root, isNew] = m_reachable.try_emplace(RootOf(path));
        if (isNew)
            root->second = GetFileAttributesW(root->first) != INVALID_FILE_ATTRIBUTES;
        return root->second;
    }
    std::vector<CString> Unreachable() const
    {
        std::vector<CString> roots;
        for (const auto& [root, reachable] : m_reachable)
            if (!reachable)
                roots.push_back(root);
        return roots;
    }

private:
    std::map<CString, bool> m_reachable;
};

// An empty root stands for all roots of the selection.
const wchar_t* NameOf(const CString& root) { return root.IsEmpty() ? L"the selection" : root.GetString(); }

} // namespace

void COrbWatcher::RemoveFromDeleteMap(const wchar_t* path)
{
    // What stays for want of memory is looked for on the disk before it is reported.
    Completes(L"RemoveFromDeleteMap", [&] {
        const CSingleLock lock(SectionOf(m->useDrDeleteMap));
        MapOf(m->useDrDeleteMap).erase(WithoutBackslash(path)); // as items are
    });
}

bool COrbWatcher::IsInDeleteMap(const wchar_t* path)
{
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    const DeleteMap& map = MapOf(m->useDrDeleteMap);
    return !map.empty() && map.contains(WithoutBackslash(path));
}

void COrbWatcher::TrimDeleteMap()
{
    const ActingForUser user(m->userToken);
    if (!user.Acts() || !Completes(L"TrimDeleteMap", [this] { ReportAllVanished(); }))
        m->due.MakeFull();
}

// Only below the roots of this watcher's selection: others share the map, and a letter that the rules name no more may
// hold any volume.
void COrbWatcher::ReportAllVanished()
{
    DriveList selected;
    {
        const ObjectLock lock(m->locks, &m->filter);
        selected = m->filter.GenerateDriveList();
    }
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    Roots roots;
    // What was judged goes. The next enumeration of its root fills the map anew.
    std::erase_if(MapOf(m->useDrDeleteMap), [&](const auto& entry) {
        return !m->stop.IsSet() && selected.contains(OrbFilter::StripToRoot(entry.first)) &&
               roots.IsReachable(entry.first) && JudgeVanished(entry.first);
    });
    for (const CString& root : roots.Unreachable()) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"What disappeared from %s is looked for when it can be reached",
                          root.GetString());
        m->due.ReportLeftOut(OrbFilter::StripToRoot(root), m->clock->Seconds());
    }
}

// What the index holds of a path that is gone is to be deleted. False when nothing could be found out.
bool COrbWatcher::JudgeVanished(const CString& path)
{
    CString asked = path;
    if (IsDirectory(path))
        asked += L'\\';
    bool selected = false;
    {
        const ObjectLock lock(m->locks, &m->filter);
        selected = m->filter.CheckForInclusion(asked, nullptr, true, true) == Included;
    }
    if (!selected)
        return true;
    if (!m->IsGone(path))
        return !IsUnknown(path);
    g_OrbLog.Log(m->useDrDeleteMap ? L"Removing deleted file from DR backup: %s"
                                   : L"Removing deleted file from data backup: %s",
                 path.GetString());
    m->due.Found(path);
    m->changeHandler.OnFileRemoved(path);
    // The removal has replaced what may have been reported of a file that has just come back.
    if (!m->IsGone(path))
        m->changeHandler.ProcessChangedFile(path, false, false);
    return true;
}

// Neither there nor known to be gone: the run has found out nothing about it. Another run would find no more in what
// may not be looked at; any other failure may pass.
bool COrbWatcher::IsUnknown(const CString& path)
{
    if (m->volumes.IsOther(path))
        return true;
    if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES) {
        m->due.Found(path);
        return false;
    }
    const DWORD error = GetLastError();
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Whether %s was deleted cannot be found out: %d", path.GetString(),
                      error);
    m->enumeration.CountBeside(PathOutcome::Unreadable);
    if (error != ERROR_ACCESS_DENIED)
        m->due.MakeFullOnceFor(path);
    return true;
}

// Everything that the index holds on the root: what an enumeration meets is taken out again.
void COrbWatcher::FillDeleteMap(const CString& root)
{
    if (m->indexDB.IsEmpty())
        return;
    if (!CIndexDB::CacheLoaded()) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"What disappeared from %s cannot be found, the cache of the index is not loaded",
                          NameOf(root));
        m->due.MakeFull();
        return;
    }
    CIndexDB index;
    index.SetDBFilePath(m->indexDB);
    DeleteMap found;
    if (index.Open(0, 0, 0) && index.BeginFolderChildrenRead(root))
        for (std::uint64_t id = 0; index.ReadRow(id);) {
            CachedDatum datum;
            if (CIndexDB::GetCachedData(id, datum) && !(datum.flags & CachedDatum::NoDeleteRecord))
                found.emplace(datum.path, id);
        }
    const CIndexDB::Error error = index.GetLastDbError();
    if (error != CIndexDB::Error::None && error != CIndexDB::Error::NotFound) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"What disappeared from %s cannot be found, the index failed: %s",
                          NameOf(root), index.GetLastDbErrorText().GetString());
        m->due.MakeFull();
    }
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    MapOf(m->useDrDeleteMap).merge(found);
}

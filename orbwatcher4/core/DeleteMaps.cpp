// The paths that the index holds and nobody has seen on the disk yet.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
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
            root->second = GetFileAttributesW(root->first) != INVALID_FILE_ATTRIBUTES || !IsAway(GetLastError());
        return root->second;
    }

private:
    // Any other failure says nothing: each path is asked for itself.
    static bool IsAway(DWORD error)
    {
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_NOT_READY ||
               error == ERROR_BAD_NETPATH || error == ERROR_BAD_NET_NAME;
    }

    std::map<CString, bool> m_reachable;
};

} // namespace

void COrbWatcher::RemoveFromDeleteMap(const wchar_t* path)
{
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    MapOf(m->useDrDeleteMap).erase(WithoutBackslash(path)); // as items are
}

bool COrbWatcher::IsInDeleteMap(const wchar_t* path)
{
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    const DeleteMap& map = MapOf(m->useDrDeleteMap);
    return !map.empty() && map.contains(WithoutBackslash(path));
}

void COrbWatcher::TrimDeleteMap()
{
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    Roots roots;
    for (const auto& [path, id] : MapOf(m->useDrDeleteMap)) {
        if (m->stop.IsSet())
            break;
        if (roots.IsReachable(path))
            ReportVanished(path);
    }
}

// Gone, and still selected: what the index holds of it is to be deleted.
void COrbWatcher::ReportVanished(const CString& path)
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
        return;
    if (!m->IsGone(path))
        return NoteUnknown(path);
    g_OrbLog.Log(m->useDrDeleteMap ? L"Removing deleted file from DR backup: %s"
                                   : L"Removing deleted file from data backup: %s",
                 path.GetString());
    m->changeHandler.OnFileRemoved(path);
}

// Neither there nor known to be gone: the run has found out nothing about it.
void COrbWatcher::NoteUnknown(const CString& path)
{
    if (m->volumes.IsOther(path) || GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES)
        return;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Whether %s was deleted cannot be found out: %d", path.GetString(),
                      GetLastError());
    m->MakeFullEnumerationDue();
}

// Everything that the index holds on the root: what an enumeration meets is taken out again.
void COrbWatcher::FillDeleteMap(const CString& root)
{
    if (m->indexDB.IsEmpty())
        return;
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
                          root.GetString(), index.GetLastDbErrorText().GetString());
        m->MakeFullEnumerationDue();
    }
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    MapOf(m->useDrDeleteMap).merge(found);
}

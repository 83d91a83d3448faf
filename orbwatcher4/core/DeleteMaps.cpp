// The paths that the index holds and nobody has seen on the disk yet.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"

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

private:
    std::map<CString, bool> m_reachable;
};

} // namespace

void COrbWatcher::RemoveFromDeleteMap(const wchar_t* path)
{
    const CSingleLock lock(SectionOf(m->useDrDeleteMap));
    MapOf(m->useDrDeleteMap).erase(WithoutBackslash(path)); // as items are
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
    if (!selected || !m->IsGone(path))
        return;
    g_OrbLog.Log(m->useDrDeleteMap ? L"Removing deleted file from DR backup: %s"
                                   : L"Removing deleted file from data backup: %s",
                 path.GetString());
    m->changeHandler.OnFileRemoved(path);
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

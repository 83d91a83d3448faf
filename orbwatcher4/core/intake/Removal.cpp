// Turns a removed path into a pending deletion.
#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/intake/ChangeHandler.h"
#include "orbwatcher4/filter/FilterAccess.h"

void ChangeHandler::ProcessRemoved(const wchar_t* eventPath)
{
    const CString path(eventPath);
    if (m_ownFiles.Contains(path))
        return;
    CString mapped = path;
    FilterList rules;
    InclusionType primary, secondary;
    {
        const CSingleLock lock(m.selection.primaryLock);
        m.selection.primary.UpdateJunctionDestination(mapped);
        FilterAccess::MemoryOf(m.selection.primary).ForgetAll(path);
        primary = m.selection.primary.CheckForInclusion(path, &rules, true, true);
    }
    if (IsDirectory(path) && mapped[mapped.GetLength() - 1] != L'\\')
        mapped += L'\\';
    {
        const CSingleLock lock(m.selection.secondaryLock);
        secondary = m.selection.secondary.CheckForInclusion(path, &rules, true, false);
    }
    // A folder that is not selected may contain selected files; renaming it moves all of them.
    if (primary == Included || secondary == Included || CIndexDB::HasCachedItemsBelow(mapped))
        RecordRemoval(mapped, rules);
}

void ChangeHandler::RecordRemoval(const CString& path, const FilterList& rules)
{
    CachedDatum datum;
    const bool indexed = CIndexDB::GetCachedData(path.GetString(), datum);
    if (!indexed) {
        // It was never backed up, so its pending change is dropped, whether it was a file or a folder. A deletion
        // stays: the path may be in the index since.
        const PendingStore::Locked store(m.pending);
        for (const CString& pending : {path, path + L'\\'})
            if (const NotificationPtr change = store->Find(pending);
                change && change->kind != NotificationKind::Deleted)
                store->Erase(pending);
    }
    // The deletion of a folder that was not backed up itself stands for the items below it in the index.
    if ((!indexed || (datum.flags & CachedDatum::NoDeleteRecord)) && !CIndexDB::HasCachedItemsBelow(path))
        return;
    const PendingStore::Locked store(m.pending);
    auto notification = std::make_shared<Notification>();
    notification->kind = NotificationKind::Deleted;
    notification->timeStamp = m.config.clock->FileTime();
    FillFromRules(*notification, rules);
    store->Put(path, notification);
    store.Replaced().Erase(path); // this deletion stands for the children, too
    m.pending.deletionRequests.Request();
}

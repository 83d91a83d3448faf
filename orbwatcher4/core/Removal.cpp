// Turns a removed path into a pending deletion.
#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/core/ChangeHandler.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "orbwatcher4/filter/Junctions.h"

namespace
{

// Asks the watch thread of any process to process deletions after a quiet time.
void RequestDeletedFileProcessing()
{
    const KernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, DeletedFilesEventName));
    if (event)
        SetEvent(event.Get());
}

} // namespace

void ChangeHandler::ProcessRemoved(const wchar_t* eventPath)
{
    const CString path(eventPath);
    if (m.ownFiles.Contains(path))
        return;
    CString mapped = path;
    FilterList rules;
    InclusionType primary, secondary;
    {
        const ObjectLock lock(m.locks, &m.filter);
        m.filter.UpdateJunctionDestination(mapped);
        JunctionAccess::ForgetAll(m.filter, path);
        primary = m.filter.CheckForInclusion(path, &rules, true, true);
    }
    if (IsDirectory(path) && mapped[mapped.GetLength() - 1] != L'\\')
        mapped += L'\\';
    {
        const ObjectLock lock(m.locks, &m.secondaryFilter);
        secondary = m.secondaryFilter.CheckForInclusion(path, &rules, true, false);
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
        // It was never backed up, so its pending change is dropped, whether it was a file or a folder.
        DropPending(path);
        DropPending(path + L'\\');
    }
    // The deletion of a folder that was not backed up itself stands for the items below it in the index.
    if ((!indexed || (datum.flags & CachedDatum::NoDeleteRecord)) && !CIndexDB::HasCachedItemsBelow(path))
        return;
    const ObjectLock lock(m.locks, &m.store);
    auto notification = std::make_shared<Notification>();
    notification->kind = NotificationKind::Deleted;
    notification->timeStamp = m.clock->FileTime();
    FillFromRules(*notification, rules);
    m.store.Put(path, notification);
    m.deletionsRequested = true;
    RequestDeletedFileProcessing();
}

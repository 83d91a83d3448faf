// What a removal leaves behind: a deletion that waits for processing.
#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/core/ChangeHandler.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"

namespace
{

// The watch thread, here or in another process, processes deletions after a quiet time.
void RequestDeletedFileProcessing()
{
    const KernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, DeletedFilesEventName));
    if (event)
        SetEvent(event.Get());
}

} // namespace

void ChangeHandler::OnFileRemoved(const wchar_t* eventPath)
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
        primary = m.filter.CheckForInclusion(path, &rules, true, true);
    }
    if (IsDirectory(path) && mapped[mapped.GetLength() - 1] != L'\\')
        mapped += L'\\';
    {
        const ObjectLock lock(m.locks, &m.secondaryFilter);
        secondary = m.secondaryFilter.CheckForInclusion(path, &rules, true, false);
    }
    if (primary == Included || secondary == Included)
        RecordRemoval(mapped, rules);
}

void ChangeHandler::RecordRemoval(const CString& path, const FilterList& rules)
{
    CachedDatum datum;
    if (!CIndexDB::GetCachedData(path.GetString(), datum)) {
        // Nothing of it was ever backed up: what waits for it is gone, whether it was a file or a folder.
        DropPending(path);
        DropPending(path + L'\\');
        return;
    }
    if (datum.flags & CachedDatum::NoDeleteRecord)
        return;
    const ObjectLock lock(m.locks, &m.store);
    const NotificationPtr pending = m.store.Find(path);
    if (pending && pending->kind == NotificationKind::Added) {
        m.store.Erase(path);
        return;
    }
    auto notification = std::make_shared<Notification>();
    notification->kind = NotificationKind::Deleted;
    notification->timeStamp = m.clock->FileTime();
    FillFromRules(*notification, rules);
    m.store.Put(path, notification);
    m.deletionsRequested = true;
    RequestDeletedFileProcessing();
}

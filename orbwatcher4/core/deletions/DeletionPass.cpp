#include "orbwatcher4/core/deletions/DeletionPass.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/environment/BackupRunning.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/LockOrder.h"
#include "support/SystemPath.h"
#include "support/WithoutThreadToken.h"

#include <shlobj.h>
#include <shlwapi.h>

namespace
{

bool Exists(const CString& path)
{
    const LockOrder::DiskScope disk;
    return GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES;
}

} // namespace

void DeletionPass::Process()
{
    CollectVanished();
    if (m_entries.empty() && !m_left.exports) {
        m_left.unsettled = false;
        return;
    }
    // Reset at the end. The reasons for an early return may pass, and the deletions are processed again then.
    m_left.unsettled = true;
    if (!IsCacheLoaded() || !OpenIndex())
        return;
    bool all = true;
    for (auto entry = m_entries.begin(); entry != m_entries.end();) {
        const Collected collected = CollectEntry(entry->first, entry->second);
        all = all && collected == Collected::Whole;
        if (collected == Collected::Stopped)
            break;
        if (const auto taken = entry++; collected == Collected::Whole)
            m_settled.insert(m_entries.extract(taken));
    }
    if (!m_records.empty()) {
        if (!Write())
            return;
        Tell();
    }
    if (!m_records.empty() || m_left.exports)
        ExportDue();
    TakeSettled();
    QueueReturned();
    m_left.unsettled = !all || m_left.exports;
}

bool DeletionPass::HasDueExports(const CString& indexDatabase)
{
    const WithoutThreadToken asProcess;
    CIndexDB index;
    std::vector<std::int32_t> jobs;
    index.SetDBFilePath(indexDatabase);
    return !indexDatabase.IsEmpty() && index.Open(0, 0, 0) && index.GetDueExports(jobs) && !jobs.empty();
}

// Returns false when the index is unknown. Without the cache, every deletion would be skipped and forgotten.
bool DeletionPass::IsCacheLoaded() const
{
    if (CIndexDB::CacheLoaded())
        return true;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Deletions wait, the cache of the index is not loaded");
    return false;
}

// Collects deletions of paths that are gone. Files that are back, and paths that cannot be reached, stay pending.
void DeletionPass::CollectVanished()
{
    TakeFromStore();
    for (auto entry = m_entries.begin(); entry != m_entries.end();)
        entry = LookAtSome(entry);
}

// Looks at so many entries at most, and removes those that stay pending. Returns the entry behind them.
//
// Each root is asked before the first of its paths, because nothing below a root that is away needs a question, and
// once more after the last one: if it has gone meanwhile, its files only seemed to be gone. A drive that goes and
// returns within these few looks is not noticed.
DeletionPass::Entries::iterator DeletionPass::LookAtSome(Entries::iterator entry)
{
    constexpr int most = 256;
    AskedRoots before, after;
    SortedLooks looks;
    const auto first = entry;
    std::vector<bool> canBeSettled;
    for (int i = 0; i < most && entry != m_entries.end(); ++i, ++entry)
        canBeSettled.push_back(IsUsable(before, entry->first) && Look(looks, entry->first, entry->second));
    auto settles = canBeSettled.begin();
    for (auto one = first; one != entry; ++settles)
        one = *settles && IsUsable(after, one->first) ? std::next(one) : m_entries.erase(one);
    return entry;
}

void DeletionPass::TakeFromStore()
{
    const PendingStore::Locked store(m.pending);
    store->ForEach([&](const CString& path, const NotificationPtr& notification) {
        if (notification->kind == NotificationKind::Deleted)
            m_entries.emplace(path, Entry{notification, false});
        return true;
    });
    for (const auto& [folder, deletion] : store.Replaced().All())
        m_entries.emplace(folder, Entry{deletion, true});
}

bool DeletionPass::IsUsable(AskedRoots& roots, const CString& path) const
{
    return roots.IsUsable(path, [&] { return IsReachable(path) && !m.selection.volumes.IsOther(path); });
}

// Looks once whether anything has the path. Returns true when the deletion can be settled, if the root is there.
bool DeletionPass::Look(SortedLooks& looks, const CString& path, Entry& entry)
{
    const DWORD attributes = looks.Attributes(WithoutBackslash(path));
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return entry.gone = MeansNothingThere(GetLastError());
    // A folder that was back when its removal was reported has a backslash.
    return entry.replaced || EndsInBackslash(path) || (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// Removes the settled entries. This comes last, so that no failure before it loses one. A newer change of the path
// stays; something may have taken the place of a folder meanwhile.
void DeletionPass::TakeSettled()
{
    const PendingStore::Locked store(m.pending);
    for (const auto& [path, entry] : m_settled) {
        if (store->Find(path) == entry.notification)
            store->Erase(path);
        store.Replaced().Erase(path, entry.notification);
    }
}

bool DeletionPass::OpenIndex()
{
    m_index.SetDBFilePath(m.config.indexDatabase);
    if (m_index.Open(1, 0, 0) && m_index.GetLastJobData(m_lastJob))
        return true;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Deletions wait, the index cannot be used: %s",
                      m_index.GetLastDbErrorText().GetString());
    return false;
}

// Leaves no records of an entry that is not Whole.
DeletionPass::Collected DeletionPass::CollectEntry(const CString& path, const Entry& entry)
{
    const auto stopped = [&] {
        if (m.stop.IsSet())
            g_OrbLog.Log(L"Used Aborted, stop Filling Que");
        return m.stop.IsSet();
    };
    if (stopped())
        return Collected::Stopped;
    const std::optional<std::vector<std::uint64_t>> ids = IdsOf(path);
    if (!ids)
        return Collected::Stopped;
    g_OrbLog.Log(L"Filtering Deleted items");
    const std::size_t before = m_records.size();
    // If something has the path, each item is asked for. A folder is looked at again, because that saves a question for
    // each of its items. A single file that is back by now is queued after the writing.
    const bool allGone = entry.gone && (ids->size() == 1 || !Exists(WithoutBackslash(path)));
    for (const std::uint64_t id : *ids) {
        if (stopped()) {
            Undo(before);
            return Collected::Stopped;
        }
        CachedDatum datum;
        const bool indexed = IsIndexed(id, path, datum);
        const bool there = indexed && !allGone && Exists(datum.path);
        if (indexed && !there && !allGone && !m.selection.IsGone(datum.path)) {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Deletions of %s wait, %s cannot be looked at",
                              path.GetString(), datum.path.GetString());
            Undo(before);
            return Collected::Unknown;
        }
        // Once for each item, however many entries stand for it.
        if (!indexed || there || !m_recordedIds.insert(datum.id).second) {
            g_OrbLog.Log(L"Skip : %s", datum.path.GetString());
            continue;
        }
        g_OrbLog.Log(L"New deleted item");
        g_OrbLog.Log(L"File: %I64d", id);
        m_records.push_back({{id, entry.notification->timeStamp, 0}, datum.path});
    }
    if (m_records.size() > before)
        m_covered.push_back({WithoutBackslash(path), before, m_records.size(), allGone});
    return Collected::Whole;
}

// Returns true for an item of the entry without a delete record. The id may also belong to another path with a forged
// name.
bool DeletionPass::IsIndexed(std::uint64_t id, const CString& path, CachedDatum& datum) const
{
    const bool found = CIndexDB::GetCachedData(id, datum);
    if (found && (CIndexDB::IsItemOf(path, datum) || BeginsNoCase(datum.path.View(), WithBackslash(path).View())))
        return !(datum.flags & CachedDatum::NoDeleteRecord);
    datum = CachedDatum{.path = path};
    return false;
}

void DeletionPass::Undo(std::size_t records)
{
    for (std::size_t i = records; i < m_records.size(); ++i)
        m_recordedIds.erase(m_records[i].datum.id);
    m_records.resize(records);
}

std::optional<std::vector<std::uint64_t>> DeletionPass::IdsOf(const CString& path)
{
    // Compares by path, because ids distinguish the cases of letters beyond A to Z.
    CachedDatum datum;
    const bool indexed = CIndexDB::GetCachedData(path.GetString(), datum);
    std::vector<std::uint64_t> ids{indexed ? datum.id : CIndexDB::CalculateUuid(path)};
    const bool folder = indexed && (datum.flags & CachedDatum::Folder);
    if (!folder && !CIndexDB::HasCachedItemsBelow(path))
        return ids;
    g_OrbLog.Log(L"Getting children for folder %s", path.GetString());
    if (m_index.BeginFolderChildrenRead(path))
        for (std::uint64_t id = 0; m_index.ReadRow(id);)
            ids.push_back(id);
    if (m_index.GetLastDbError() == CIndexDB::Error::None)
        return ids;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Deletions wait, the children of %s could not be read: %s",
                      path.GetString(), m_index.GetLastDbErrorText().GetString());
    return std::nullopt;
}

// Writes the records. During a backup they join its job. A job that has ended is never joined, even if a process claims
// that a backup is running: the records that were exported with it would be exported again.
bool DeletionPass::Write()
{
    const WithoutThreadToken asProcess; // the mutex of the backup may be closed to the user
    // From here on no other process can begin a job, so the last job stays the last until the records are in it.
    const bool begun = m_index.BeginBatch() && m_index.GetLastJobData(m_lastJob);
    const bool lastIsOpen =
        m_lastJob.jobId != 0 && m_lastJob.endTime == 0 && !(m_lastJob.flags & SettingsDatum::Completed);
    const bool newJob = !lastIsOpen || !IsBackupRunning();
    SettingsDatum job = m_lastJob;
    if (newJob) {
        job = SettingsDatum();
        job.jobId = m_lastJob.jobId + 1;
        job.startTime = m.config.clock->Seconds();
    }
    if (!begun || !WriteRecords(job, newJob) || !m_index.CommitBatch()) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Deletions wait, they could not be written: %s",
                          m_index.GetLastDbErrorText().GetString());
        return false;
    }
    return true;
}

bool DeletionPass::WriteRecords(SettingsDatum& job, bool newJob)
{
    if (newJob && !m_index.Insert(job))
        return false;
    for (Record& record : m_records) {
        record.datum.jobId = job.jobId;
        if (!m_index.InsertEx(record.datum, 0, nullptr, false))
            return false;
    }
    // In the same commit: if this process does not make the export, the next one does.
    if (HasDestination() && !m_index.MakeExportDue(job.jobId))
        return false;
    if (!newJob)
        return true;
    job.endTime = m.config.clock->Seconds();
    job.itemCount = static_cast<std::int64_t>(m_records.size());
    job.flags |= SettingsDatum::Completed;
    return m_index.Update(job);
}

// Calls the listener. A listener that throws must not prevent the export.
void DeletionPass::Tell() const
{
    if (!m_listener)
        return;
    Completes(L"The listener of deletions", [this] {
        for (const Record& record : m_records)
            m_listener({record.path, record.datum.id, record.datum.jobId});
    });
}

// A file that came back while its record was written counted as unchanged. It is new now. Nothing below a folder that
// is still gone can have come back. A file that comes back from here on is new, because its item is marked.
void DeletionPass::QueueReturned()
{
    SortedLooks looks;
    for (const Covered& covered : m_covered) {
        if (covered.gone && !looks.Exists(covered.path))
            continue;
        for (std::size_t i = covered.begin; i < covered.end; ++i)
            if (Exists(m_records[i].path))
                m.handler.ProcessChangedFile(m_records[i].path, Arrival::Found);
    }
}

bool DeletionPass::HasDestination() const
{
    return GetMainSettings().IsOnline() || !m.selection.Destination().IsEmpty();
}

void DeletionPass::ExportDue()
{
    const WithoutThreadToken asProcess;
    if (!HasDestination()) {
        g_OrbLog.Log(L"There is no destination to export the deletions to");
        m_left.exports = false;
        return;
    }
    m_left.exports = true; // until all exports are made
    std::vector<std::int32_t> jobs;
    if (!m_index.GetDueExports(jobs)) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Which deletions are to be exported cannot be read: %s",
                          m_index.GetLastDbErrorText().GetString());
        return;
    }
    for (const std::int32_t job : jobs)
        if (!Export(job))
            return;
    m_left.exports = false;
}

bool DeletionPass::Export(std::int32_t jobId)
{
    const CString path = ExportPath();
    if (path.IsEmpty() || !m_index.ExportJob(path, jobId)) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The deletions could not be exported to %s (job %d): %s",
                          path.GetString(), jobId, m_index.GetLastDbErrorText().GetString());
        return false;
    }
    if (m_index.NoteExported(jobId))
        return true;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"That job %d is exported could not be noted: %s", jobId,
                      m_index.GetLastDbErrorText().GetString());
    return false;
}

CString DeletionPass::ExportPath()
{
    if (GetMainSettings().IsOnline()) {
        int number = 0;
        return m.config.online->GetTransactionXml(number, false, true);
    }
    const CString folder = m.selection.Destination();
    if (!IsDirectory(folder)) {
        DeleteFileW(folder); // a plain file in the folder's place would prevent every export
        SHCreateDirectoryExW(nullptr, folder, nullptr);
    }
    CString path;
    for (int number = 0; path.IsEmpty() || PathFileExistsW(path); ++number)
        path.Format(L"%s\\Index.tdb.%d", folder.GetString(), number);
    return path;
}

// Hands pending files to the backup service, one at a time.
#include "orbwatcher4/core/HandOut.h"
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Classify.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/FileTimes.h"
#include "support/Hashes.h"
#include "support/SystemPath.h"
#include "support/Wildcard.h"
#include "support/WithoutThreadToken.h"

#include <shlwapi.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cwchar>

namespace
{

// Process-wide: an emptied store releases its memory once.
std::atomic<bool> g_shrunk{false};

template <std::size_t Capacity>
void CopyCut(wchar_t (&to)[Capacity], const CString& from)
{
    const std::size_t length = std::min<std::size_t>(Capacity - 1, static_cast<std::size_t>(from.GetLength()));
    std::copy_n(from.GetString(), length, to);
    to[length] = 0;
}

void UpperCaseRoot(wchar_t* path)
{
    if (std::wcslen(path) > 2 && path[1] == L':')
        CharUpperBuffW(path, 1);
    else if (path[0] == L'\\' && path[1] == L'\\' && path[2])
        CharUpperBuffW(path + 2, 1);
}

// Returns the time of the file itself. The list of its folder may be older while the file is open.
std::uint64_t LastWriteTime(const wchar_t* path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(SystemPath(path), GetFileExInfoStandard, &data))
        return 0;
    return data.ftLastWriteTime.dwLowDateTime | std::uint64_t(data.ftLastWriteTime.dwHighDateTime) << 32;
}

struct Attributes {
    DWORD attributes;
    std::uint64_t size;
};

// Returns the attributes of a link itself. For a path that ends in a backslash, the system may return those of the
// target.
DWORD OwnAttributes(const CString& folder, DWORD found)
{
    if (!EndsInBackslash(folder) || PathIsRootW(folder))
        return found;
    const DWORD own = GetFileAttributesW(SystemPath(WithoutBackslash(folder)));
    return own == INVALID_FILE_ATTRIBUTES ? found : own;
}

// Returns the attributes of the path, for a file with one call of the system; nothing when they cannot be read.
std::optional<Attributes> ReadAttributes(const CString& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(SystemPath(path), GetFileExInfoStandard, &data))
        return std::nullopt;
    if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return Attributes{OwnAttributes(path, data.dwFileAttributes), 0};
    return Attributes{data.dwFileAttributes, data.nFileSizeLow | std::uint64_t(data.nFileSizeHigh) << 32};
}

// Returns the attributes that the folder's list shows for a file that cannot be opened at all.
std::optional<Attributes> ListedAttributes(const CString& path)
{
    WIN32_FIND_DATAW data;
    if (GetFileFindData(path, &data))
        return Attributes{data.dwFileAttributes, data.nFileSizeLow | std::uint64_t(data.nFileSizeHigh) << 32};
    g_OrbLog.Log(L"Failed to get file info: %s", path.GetString());
    return std::nullopt;
}

void Reset(QueueDatum& out)
{
    FreeQueueAttachment(out.attachment);
    out = QueueDatum();
}

} // namespace

QueueAttachment* AllocateQueueAttachment(const wchar_t* text)
{
    const std::size_t size = (std::wcslen(text) + 1) * sizeof(wchar_t);
    auto* attachment = static_cast<QueueAttachment*>(std::malloc(sizeof(QueueAttachment)));
    auto* copy = static_cast<wchar_t*>(std::malloc(size));
    if (!attachment || !copy) {
        std::free(attachment);
        std::free(copy);
        return nullptr;
    }
    std::copy_n(text, size / sizeof(wchar_t), copy);
    attachment->text = copy;
    return attachment;
}

void FreeQueueAttachment(QueueAttachment* attachment)
{
    if (attachment)
        std::free(attachment->text);
    std::free(attachment);
}

namespace
{

// Leaves the store's lock in its scope.
class LeftStore
{
public:
    explicit LeftStore(CSingleLock& lock) : m_lock(lock) { m_lock.Unlock(); }
    ~LeftStore() { m_lock.Lock(); }
    LeftStore(const LeftStore&) = delete;
    LeftStore& operator=(const LeftStore&) = delete;

private:
    CSingleLock& m_lock;
};

// Judges the entry of the last step, and erases a settled one. Returns true when it is to be handed out. The store is
// unlocked meanwhile: the disk may need long to answer, and other threads must not wait for it. (`lock` is that of the
// store, which clang cannot know.)
bool OfferWithStoreLeft(WatcherState& state, HandOut& handOut, const NotificationStore::Entry& entry,
                        CSingleLock& lock) ORB_UNCHECKED_LOCKS
{
    const NotificationStore::Look look(state.store, entry.path);
    HandOut::Verdict verdict = HandOut::Verdict::Keep;
    {
        const LeftStore left(lock);
        verdict = handOut.Offer(entry);
    }
    if (verdict == HandOut::Verdict::Keep)
        return false;
    bool given = verdict == HandOut::Verdict::Give;
    if (look.WasReported()) {
        // A change that was reported meanwhile stays pending. A deletion is the later change; after any other change
        // the file is handed out once more.
        const NotificationPtr now = state.store.Find(entry.path);
        given = given && now && now->kind != NotificationKind::Deleted;
    } else {
        given = state.store.EraseVisited() && given; // another thread may have erased the entry
    }
    if (verdict == HandOut::Verdict::Give && !given)
        handOut.TakeBack(entry.path);
    return given;
}

} // namespace

// If the judgement fails, the file stays pending.
bool COrbWatcher::GetSingleNotification(void* sameRunIds, QueueDatum& out, FileIdentity* identity)
{
    const COrbFuncLog guard(L"COrbWatcher::GetSingleNotification");
    std::optional<ActingForUser> user;
    if (m->config.userToken)
        user.emplace(m->config.userToken);
    if (user && !user->Acts())
        return false;
    bool given = false;
    Completes(L"The hand-out", [&] { given = TakePending(sameRunIds, out, identity); });
    return given;
}

bool COrbWatcher::GetSingleNotification(void* sameRunIds, QueueDatum& out)
{
    return GetSingleNotification(sameRunIds, out, nullptr);
}

bool COrbWatcher::TakePending(void* sameRunIds, QueueDatum& out, FileIdentity* identity)
{
    const CSingleLock oneAtATime(m->handOutLock);
    CSingleLock lock(m->storeLock);
    if (m->store.LiveCount() == 0) {
        m->removalCutShort = false;
        g_OrbLog.Log(L"No files to move to queue. Exiting.");
        if (!g_shrunk.exchange(true))
            m->store.Shrink();
        return false;
    }
    g_shrunk = false;
    HandOut handOut(*this, *m, static_cast<std::set<unsigned __int64>*>(sameRunIds), out);
    bool deletionsProcessed = false;
    m->store.BeginRound();
    for (NotificationStore::Entry entry; m->store.NextInRound(entry);) {
        if (entry.notification->kind == NotificationKind::Deleted) {
            // The processing comes before the store in the lock order. Once is enough for all deletions.
            if (deletionsProcessed)
                continue;
            deletionsProcessed = true;
            const LeftStore left(lock);
            const CSingleLock deletedFiles(m->deletedFilesLock);
            ImmediateProcessDeletedFiles();
            continue;
        }
        if (OfferWithStoreLeft(*m, handOut, entry, lock)) {
            g_OrbLog.Log(L"Adding ...  %s", entry.path.GetString());
            if (identity)
                *identity = handOut.Identity();
            return true;
        }
    }
    return false;
}

HandOut::HandOut(COrbWatcher& watcher, WatcherState& state, std::set<unsigned __int64>* sameRunIds, QueueDatum& out)
    : m_watcher(watcher),
      m(state),
      m_sameRunIds(sameRunIds),
      m_out(out),
      m_online(GetMainSettings().IsOnline())
{
    if (m_sameRunIds)
        m.givenInRun.Follow(*m_sameRunIds);
}

HandOut::Verdict HandOut::Offer(const NotificationStore::Entry& entry)
{
    const CString& path = entry.path;
    // It may be pending since before the destination was set.
    if (m.IsKeptOut(path)) {
        g_OrbLog.Log(L"Not backing up %s, which is never backed up.", path.GetString());
        return Verdict::Drop;
    }
    std::optional<Attributes> attributes = ReadAttributes(path);
    if (!attributes && m.IsGone(path)) {
        g_OrbLog.Log(L"Not backing up deleted file %s.", path.GetString());
        return Verdict::Drop;
    }
    // When a drive is away, its pending files stay pending.
    if (!attributes && IsReachable(path))
        attributes = ListedAttributes(path);
    // A file with this path on another volume is not the file that changed.
    if (!attributes || m.volumes.IsOther(path))
        return Verdict::Keep;
    // Any process can set the event that ends a removal, and keep it set.
    if (m.removalCutShort && !IsSelected(path)) {
        g_OrbLog.Log(L"Not backing up %s, which is not selected any more.", path.GetString());
        return Verdict::Drop;
    }
    Reset(m_out);
    if (m_online)
        if (const std::optional<Verdict> verdict = JudgeUploaded(path))
            return *verdict;
    CachedDatum datum;
    const std::uint64_t id = CIndexDB::CalculateUuid(path);
    bool indexed = CIndexDB::GetCachedData(id, datum, 1);
    if (indexed && !CIndexDB::IsItemOf(path, datum)) {
        indexed = false;
        datum = CachedDatum();
    }
    const bool isNew = !indexed || (datum.flags & CachedDatum::NoDeleteRecord);
    FillFromNotification(entry, isNew);
    const bool directory = (attributes->attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    m_out.size = attributes->size;
    if (!ReadTimes(path, directory))
        return Verdict::Keep;
    if (!isNew && static_cast<std::uint64_t>(m_out.modificationTime) == datum.modificationTime)
        return Verdict::Drop; // unchanged since it was backed up
    m.handOutLock.RequireHeld();
    const bool oncePerRun = m_sameRunIds && IsBackupRunning();
    if (oncePerRun && m_sameRunIds->count(id) != 0 && m.givenInRun.Holds(id, path.View())) {
        if (datum.flags & CachedDatum::DropSameRunChange)
            return Verdict::Drop;
        g_OrbLog.Log(L"Delaying backup of file %s due to same run.", path.GetString());
        return Verdict::Keep;
    }
    Finish(entry, directory, id, attributes->attributes);
    // This comes last: a failure before the file is handed out must not count it as handed out in this run.
    if (oncePerRun) {
        m.givenInRun.Insert(id, path.View());
        m_sameRunIds->insert(id);
    }
    m_counted = oncePerRun;
    return Verdict::Give;
}

void HandOut::TakeBack(const CString& path) noexcept
{
    m.handOutLock.RequireHeld();
    if (m_counted && m.givenInRun.Erase(m_out.id, path.View()))
        m_sameRunIds->erase(m_out.id);
}

bool HandOut::IsSelected(const CString& path)
{
    const InclusionType decision = Classify(m.selection, path).decision;
    return decision == Included || decision == NotApplicable;
}

// Asks when it is needed, and once.
bool HandOut::IsBackupRunning()
{
    if (m_backupRunning)
        return *m_backupRunning;
    // The mutex may be closed to the user.
    std::optional<WithoutThreadToken> asProcess;
    if (m.config.userToken)
        asProcess.emplace();
    m_backupRunning = COrbWatcher::IsBackupRunning() != 0;
    return *m_backupRunning;
}

// The online mode has just uploaded the file: it is unchanged, or has a later version.
std::optional<HandOut::Verdict> HandOut::JudgeUploaded(const CString& path)
{
    std::uint64_t uploaded = 0;
    if (!m.config.online->FindUploaded(path, uploaded))
        return std::nullopt;
    if (LastWriteTime(path) == uploaded) {
        g_OrbLog.Log(L"Skipping duplicate notification for file %s.", path.GetString());
        return Verdict::Drop;
    }
    g_OrbLog.Log(L"Delaying new version notification for file %s.", path.GetString());
    return Verdict::Keep;
}

void HandOut::FillFromNotification(const NotificationStore::Entry& entry, bool isNew)
{
    m_out.flags = entry.notification->ruleFlags | (isNew ? QueueFlags::New : 0);
    CopyCut(m_out.firstText, entry.notification->firstText);
    CopyCut(m_out.secondText, entry.notification->secondText);
    CopyCut(m_out.path, entry.path);
    UpperCaseRoot(m_out.path);
}

// Returns false when another program must release the file first.
bool HandOut::ReadTimes(const CString& path, bool directory)
{
    m_out.modificationTime = -1;
    m_out.creationTime = 0;
    m_identity = {};
    FileTimes times;
    switch (ReadFileTimes(path, directory, times)) {
    case FileTimesResult::Read:
        m_out.modificationTime = static_cast<std::int64_t>(times.modification);
        m_out.creationTime = static_cast<std::int64_t>(times.creation);
        m_identity = {times.volumeSerial, times.fileId};
        return true;
    case FileTimesResult::Held:
        g_OrbLog.Log(L"Delaying backup of file %s, another program holds it.", path.GetString());
        return false;
    case FileTimesResult::Unreadable:
        break;
    }
    g_OrbLog.Log(L"Warning: Failed to get file's modification date (inaccessible file)");
    if (directory)
        m_out.modificationTime = 0;
    return true;
}

void HandOut::Finish(const NotificationStore::Entry& entry, bool directory, std::uint64_t id, DWORD attributes)
{
    if (directory)
        m_out.flags |= QueueFlags::Directory;
    else
        m_out.flags |=
            QueueFlags::File | (m_watcher.UsesBlockLevel(entry.path, m_out.size) ? QueueFlags::BlockLevel : 0);
    if ((m_out.flags & QueueFlags::DedupCandidate) && m.config.notForDedup.Contains(entry.path))
        m_out.flags &= ~QueueFlags::DedupCandidate;
    m_out.attributes = attributes;
    m_out.constant2 = QueueDatum::Constant2;
    m_out.ruleValue = entry.notification->ruleValue;
    m_out.id = id;
}

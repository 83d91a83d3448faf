// The rules by which an event becomes a pending change.
#include "orbwatcher4/core/ChangeHandler.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Classify.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/FileTimes.h"
#include "support/Hashes.h"
#include "support/Impersonation.h"
#include "support/SystemPath.h"

#include <shlwapi.h>

namespace
{

constexpr int LongestEventPath = 260;
constexpr DWORD LongestPrefixed = LongestEventPath + 8; // with the prefix of SystemPath
constexpr std::uint32_t FolderKind = 1;                 // of an item in the index
constexpr std::uint64_t ReplacedWithin = 20000000;      // 2 seconds in 100-ns units

CString LongFormOf(const CString& path)
{
    CString longPath;
    const DWORD length = GetLongPathNameW(path, longPath.GetBuffer(LongestPrefixed), LongestPrefixed);
    longPath.ReleaseBuffer(length <= LongestPrefixed ? static_cast<int>(length) : 0);
    return longPath;
}

// A short name is replaced by its long form; empty when that fails.
CString LongForm(const CString& path)
{
    if (path.Find(L'~') < 0)
        return path;
    if (const CString longPath = LongFormOf(path); !longPath.IsEmpty())
        return longPath;
    const CString form = SystemPath(path);
    return GetFileAttributesW(form) == INVALID_FILE_ATTRIBUTES ? CString() : PlainPath(LongFormOf(form));
}

// Of what the hidden-file rule drops: a path that cannot be looked at has all attributes set.
PathOutcome DroppedAsHidden(const CString& path, bool gone)
{
    if (gone)
        return PathOutcome::Missing;
    return GetFileAttributesW(SystemPath(path)) == INVALID_FILE_ATTRIBUTES ? PathOutcome::Unreadable
                                                                           : PathOutcome::Hidden;
}

// A failure that says nothing of the path itself: another look may find it.
bool IsPassing(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_ACCESS_DENIED:
    case ERROR_CANT_RESOLVE_FILENAME:
        return false;
    default:
        return true;
    }
}

bool IsDeletion(const NotificationPtr& notification)
{
    return notification && notification->kind == NotificationKind::Deleted;
}

} // namespace

// What is cut short is found again by looking.
template <typename Change>
void ChangeHandler::Take(Change change) noexcept
{
    if (!Completes(L"Taking a change in", change))
        m.MakeFullEnumerationDue();
}

void ChangeHandler::OnFileAdded(const wchar_t* path)
{
    Take([&] { ProcessChangedFile(path, true, true); });
}

void ChangeHandler::OnFileModified(const wchar_t* path)
{
    Take([&] { ProcessModified(path); });
}

void ChangeHandler::OnFileRemoved(const wchar_t* path)
{
    Take([&] { ProcessRemoved(path); });
}

void ChangeHandler::OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath)
{
    OnFileRemoved(oldPath);
    OnFileAdded(newPath);
}

void ChangeHandler::OnWatchStarted(DWORD, const wchar_t*) { ImpersonateUser(m.userToken); }

void ChangeHandler::OnReadChangesError(DWORD error, const wchar_t* directory)
{
    // Lost changes: the root must be looked at again. Any other error has ended the watch, and the watch
    // thread, which compares what it wants watched with what is, starts it anew; changes were lost then, too.
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Changes below %s were lost: %d", directory, error);
    Take([&] {
        const CSingleLock lock(m.pendingDrivesLock);
        m.lostRoots[OrbFilter::StripToRoot(directory)] = m.clock->Seconds();
    });
}

std::optional<CString> ChangeHandler::NormalizeEventPath(const wchar_t* path, std::optional<DWORD> listed)
{
    const CString given(path);
    if (given.IsEmpty() || given.GetLength() > LongestEventPath || m.ownFiles.Contains(given))
        return std::nullopt;
    CString normal = LongForm(given);
    if (normal.IsEmpty() || normal.GetLength() > LongestEventPath)
        return std::nullopt;
    if (listed ? (*listed & FILE_ATTRIBUTE_DIRECTORY) != 0 : IsDirectory(normal))
        normal = WithBackslash(normal);
    const ObjectLock lock(m.locks, &m.filter);
    m.filter.UpdateJunctionDestination(normal);
    return normal;
}

std::optional<ChangeHandler::Classified> ChangeHandler::ClassifyPath(const CString& path, PathOutcome* refusal)
{
    Classification answer = Classify(m.filter, m.secondaryFilter, m.locks, path);
    if (answer.decision == Excluded)
        SetOverlay(path, OverlayStatus::Excluded);
    if (refusal)
        *refusal = RefusalOf(answer);
    if (answer.decision != Included && answer.decision != NotApplicable)
        return std::nullopt;
    return Classified{answer.decision, std::move(answer.rules)};
}

bool ChangeHandler::IsHiddenSkipped(const CString& path, const Notification& notification, std::optional<DWORD> listed)
{
    if (PathIsRootW(path))
        return false;
    ImpersonateUser(m.userToken);
    // A list may be behind the file, that of a file with several names for long: it keeps none out.
    const bool shown = listed && !(*listed & FILE_ATTRIBUTE_HIDDEN);
    const DWORD attributes = shown ? *listed : GetFileAttributesW(SystemPath(path));
    if (attributes == INVALID_FILE_ATTRIBUTES && IsPassing(GetLastError())) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s cannot be looked at now: %d", path.GetString(),
                          GetLastError());
        return false;
    }
    // A failed call returns all bits set: a vanished file counts as hidden.
    if (!(attributes & FILE_ATTRIBUTE_HIDDEN))
        return false;
    return !m.backupHiddenFiles && !(notification.ruleFlags & QueueFlags::EvenWhenHidden);
}

std::optional<PathOutcome> ChangeHandler::IsDuplicateNotification(const CString& path)
{
    CachedDatum datum;
    if (!CIndexDB::GetCachedData(CIndexDB::CalculateUuid(path), datum, 1) ||
        (datum.flags & CachedDatum::NoDeleteRecord))
        return std::nullopt;
    const bool directory = IsDirectory(path);
    std::uint64_t modified = 0;
    const bool known = GetFileTimes(path, directory, nullptr, &modified);
    // A folder in the place of a backed-up file is news.
    if (directory ? datum.kind == FolderKind : known && modified == datum.modificationTime) {
        SetOverlay(path, OverlayStatus::InSync);
        return PathOutcome::Unchanged;
    }
    std::int64_t until = 0;
    if (CIndexDB::IsDelayedItemWatcher(path, until) && until > m.clock->Seconds())
        return PathOutcome::Delayed;
    if (known && WasUploaded(path, modified))
        return PathOutcome::Uploaded;
    return std::nullopt;
}

bool ChangeHandler::WasUploaded(const CString& path, std::uint64_t modificationTime)
{
    std::uint64_t uploaded = 0;
    if (!m.online->FindUploaded(PathHash64(path.View()), uploaded) || uploaded != modificationTime)
        return false;
    g_OrbLog.Log(L"Skipping duplicate notification for file %s.", path.GetString());
    return true;
}

void ChangeHandler::DropPending(const CString& path)
{
    const ObjectLock lock(m.locks, &m.store);
    m.store.Erase(path);
}

// While the store was left, another thread may have seen the file go: that is the later word.
bool ChangeHandler::WasDeletedSince(const CString& path, const NotificationPtr& before) const
{
    const NotificationPtr now = m.store.Find(path);
    return now != before && IsDeletion(now);
}

// A file or another folder has taken the place of a folder that is gone: what was in that one is still to be looked
// for, under the other spelling of the path, which nothing that is there now has.
void ChangeHandler::KeepDeletionOfChildren(const CString& path, const NotificationPtr& pending)
{
    if (IsDeletion(pending) && CIndexDB::HasCachedItemsBelow(path))
        m.store.Put(OtherSpelling(path), pending);
}

void ChangeHandler::DropUnlessDeleted(const CString& path, const NotificationPtr& before)
{
    const ObjectLock lock(m.locks, &m.store);
    if (!WasDeletedSince(path, before))
        m.store.Erase(path);
}

// A path that could not be normalised. A short name without a long form is of something that is not there.
PathOutcome ChangeHandler::DroppedAs(const CString& eventPath) const
{
    if (m.ownFiles.Contains(eventPath))
        return PathOutcome::OwnFile;
    return eventPath.Find(L'~') >= 0 && IsReallyGone(eventPath) ? PathOutcome::Missing : PathOutcome::TooLong;
}

bool ChangeHandler::IsWaiting(const CString& path) const
{
    const ObjectLock lock(m.locks, &m.store);
    return m.store.Find(path) != nullptr;
}

// The store is left before anything that asks the filters: they come before it in the lock order.
PathOutcome ChangeHandler::ProcessChangedFile(const wchar_t* eventPath, bool expandDirectory, bool allowInstantRun,
                                              std::optional<DWORD> listed)
{
    const std::optional<CString> path = NormalizeEventPath(eventPath, listed);
    if (!path)
        return DroppedAs(eventPath);
    PathOutcome refusal = PathOutcome::NotSelected;
    const std::optional<Classified> classified = ClassifyPath(*path, &refusal);
    if (!classified) {
        if (expandDirectory)
            AddSelectedBelow(*path);
        return refusal;
    }
    NotificationPtr before;
    {
        ObjectLock lock(m.locks, &m.store);
        const NotificationPtr pending = m.store.Find(*path);
        if (IsDeletion(pending) && m.IsGone(*path))
            return PathOutcome::Missing;
        KeepDeletionOfChildren(*path, pending);
        // Only deletions carry a time: one that is followed at once by the file's return is a save that
        // replaces the file.
        if (pending && m.clock->FileTime() <= pending->timeStamp + ReplacedWithin) {
            m.store.Erase(*path);
            lock.Leave();
            ProcessModified(*path);
            // A folder that was swapped for another has other contents.
            if (expandDirectory)
                AddDirectoryChildren(*path);
            return IsWaiting(*path) ? PathOutcome::Queued : PathOutcome::Unchanged;
        }
        before = pending;
    }
    auto notification = std::make_shared<Notification>();
    FillFromRules(*notification, classified->rules);
    if (IsHiddenSkipped(*path, *notification, listed)) {
        g_OrbLog.Log(L"File: %s is Hidden and will be skipped", path->GetString());
        // A vanished file counts as hidden; its deletion is still to be recorded.
        const bool gone = m.IsGone(*path);
        if (!IsDeletion(before) || !gone)
            DropUnlessDeleted(*path, before);
        return DroppedAsHidden(*path, gone);
    }
    if (expandDirectory)
        AddDirectoryChildren(*path);
    const std::optional<PathOutcome> duplicate = IsDuplicateNotification(*path);
    if (duplicate || classified->result == NotApplicable) {
        DropUnlessDeleted(*path, before);
        return duplicate.value_or(refusal);
    }
    {
        const ObjectLock lock(m.locks, &m.store);
        if (WasDeletedSince(*path, before))
            return PathOutcome::Missing;
        m.store.Put(*path, notification);
    }
    if (allowInstantRun && m_watcher.IsOnlineInstantRunAllowed(*path))
        m_watcher.SignalInstantRunEvent();
    if (m.overlay && (notification->ruleFlags & QueueFlags::ShowOverlay)) {
        CString shown = *path;
        if (IsDirectory(shown))
            shown = WithBackslash(shown);
        SetOverlay(shown, OverlayStatus::Pending);
    }
    return PathOutcome::Queued;
}

void ChangeHandler::KeepUnreachable(const wchar_t* path)
{
    const std::optional<Classified> classified = ClassifyPath(path);
    if (!classified)
        return;
    auto notification = std::make_shared<Notification>();
    FillFromRules(*notification, classified->rules);
    const ObjectLock lock(m.locks, &m.store);
    m.store.Put(path, notification);
}

void ChangeHandler::ProcessModified(const wchar_t* eventPath)
{
    const std::optional<CString> path = NormalizeEventPath(eventPath);
    if (!path)
        return;
    const std::optional<Classified> classified = ClassifyPath(*path);
    if (!classified)
        return;
    {
        const ObjectLock lock(m.locks, &m.store);
        const NotificationPtr pending = m.store.Find(*path);
        if (IsDeletion(pending) && m.IsGone(*path))
            return;
        KeepDeletionOfChildren(*path, pending);
    }
    if (IsDuplicateNotification(*path) || classified->result == NotApplicable) {
        DropPending(*path);
        return;
    }
    std::shared_ptr<Notification> notification;
    {
        const ObjectLock lock(m.locks, &m.store);
        const NotificationPtr pending = m.store.Find(*path);
        // A pending addition or modification stands as it is, its time stamp included.
        if (pending && !IsDeletion(pending))
            return;
        notification = std::make_shared<Notification>();
        notification->kind = NotificationKind::Modified;
        FillFromRules(*notification, classified->rules);
        if (IsHiddenSkipped(*path, *notification)) {
            m.store.Erase(*path);
            return;
        }
        m.store.Put(*path, notification);
    }
    if (notification->ruleFlags & QueueFlags::ShowOverlay)
        MarkModifiedInOverlay(*path);
}

void ChangeHandler::SetOverlay(const CString& path, std::int32_t status)
{
    if (m.overlay)
        m.overlayCache.Request(OverlayRequest::SetStatus, path, status);
}

void ChangeHandler::MarkModifiedInOverlay(const CString& path)
{
    if (!m.overlay)
        return;
    std::int32_t status = OverlayStatus::ReadStart;
    m.overlayCache.Request(OverlayRequest::GetStatus, path, status);
    if (status & OverlayStatus::FirstBit)
        status |= OverlayStatus::SecondBit;
    SetOverlay(path, status | OverlayStatus::FirstBit);
}

// Turns events into pending changes.
#include "orbwatcher4/core/intake/ChangeHandler.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/QueueDatum.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/environment/SystemNames.h"
#include "orbwatcher4/core/selection/Classify.h"
#include "support/Backslash.h"
#include "support/SystemPath.h"
#include "support/WithoutThreadToken.h"

#include <shlwapi.h>

#include <atomic>
#include <optional>

namespace
{

constexpr int LongestEventPath = 260;
constexpr DWORD LongestPrefixed = LongestEventPath + 8; // room for the prefix of SystemPath
constexpr std::uint64_t ReplacedWithin = 20000000;      // 2 seconds in 100-ns units

CString LongFormOf(const CString& path)
{
    CString longPath;
    const DWORD length = GetLongPathNameW(path, longPath.GetBuffer(LongestPrefixed), LongestPrefixed);
    longPath.ReleaseBuffer(length <= LongestPrefixed ? static_cast<int>(length) : 0);
    return longPath;
}

// Replaces short names by long ones. Returns an empty path when that fails.
CString LongForm(const CString& path)
{
    if (path.Find(L'~') < 0)
        return path;
    if (const CString longPath = LongFormOf(path); !longPath.IsEmpty())
        return longPath;
    const CString form = SystemPath(path);
    return GetFileAttributesW(form) == INVALID_FILE_ATTRIBUTES ? CString() : PlainPath(LongFormOf(form));
}

// Returns the outcome of a path that the rule about hidden files drops. A path that cannot be examined has all
// attributes set, so it counts as hidden.
PathOutcome DroppedAsHidden(const CString& path, bool gone)
{
    if (gone)
        return PathOutcome::Missing;
    return GetFileAttributesW(SystemPath(path)) == INVALID_FILE_ATTRIBUTES ? PathOutcome::Unreadable
                                                                           : PathOutcome::Hidden;
}

// Returns true for a failure that does not depend on the path: another attempt may succeed.
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

// Returns true for another event of a save that is pending already: the disk is not asked. The index must not hold the
// path, since otherwise the file may be as it was backed up, and its entry is dropped. A path that the store has in
// another form, such as that of a folder, is no echo.
bool IsEcho(const IntakeParts& m, const CString& path)
{
    const auto isChange = [](const NotificationPtr& pending) { return pending && !IsDeletion(pending); };
    CachedDatum datum;
    if (!isChange(m.pending.Find(path)) || CIndexDB::GetCachedData(CIndexDB::CalculateUuid(path), datum, 1) ||
        Classify(m.selection, path).decision != Included)
        return false;
    const PendingStore::Locked store(m.pending);
    if (!isChange(store->Find(path)))
        return false;
    store->NoteReport(path);
    return true;
}

// Keeps the deletion of a folder's children when a file or another folder has taken its place.
void KeepDeletionOfChildren(PendingStore::Locked& store, const CString& path, const NotificationPtr& pending)
{
    if (IsDeletion(pending) && CIndexDB::HasCachedItemsBelow(path))
        store.Replaced().Put(path, pending);
}

// Returns the outcome of a path that could not be normalized. A short name without a long form belongs to a file that
// does not exist.
PathOutcome DroppedAs(const OwnFiles& ownFiles, const CString& eventPath)
{
    if (ownFiles.Contains(eventPath))
        return PathOutcome::OwnFile;
    return eventPath.Find(L'~') >= 0 && IsReallyGone(eventPath) ? PathOutcome::Missing : PathOutcome::TooLong;
}

} // namespace

// The judgement of one path. The store is unlocked meanwhile. A change that another thread reports for the path
// meanwhile wins.
class ChangeHandler::Judgement
{
public:
    Judgement(const IntakeParts& parts, const CString& path)
        : Judgement(parts, path, PendingStore::Locked(parts.pending))
    {
    }
    ~Judgement()
    {
        const PendingStore::Locked store(m.pending);
        m_look.End();
    }
    Judgement(const Judgement&) = delete;
    Judgement& operator=(const Judgement&) = delete;

    // Calls `change` with the store locked and with the pending change. Returns false, without the call, when a
    // deletion is pending and the path is gone: the event may be older.
    template <typename Change>
    bool Begin(Change change)
    {
        PendingStore::Locked store(m.pending);
        if (!MayExist(store))
            return false;
        change(store, store->Find(m_path));
        return true;
    }
    // Removes the pending change.
    void Drop()
    {
        const PendingStore::Locked store(m.pending);
        if (m_answered == m_look.Reports())
            store->Erase(m_path);
    }
    // Removes the pending change of a hidden path. A path that is gone counts as hidden, but its deletion stays.
    // Returns whether the path is gone.
    bool DropHidden()
    {
        const bool wasDeleted = IsDeletion(m.pending.Find(m_path));
        const bool gone = m.selection.IsGone(m_path);
        if (!wasDeleted || !gone)
            Drop();
        return gone;
    }
    // Returns true when an addition or a modification is pending; it stays as it is, with its time stamp.
    bool IsReportOnly()
    {
        const PendingStore::Locked store(m.pending);
        const NotificationPtr pending = store->Find(m_path);
        const bool stays = pending && !IsDeletion(pending);
        if (stays)
            store->NoteReport(m_path);
        return stays;
    }
    // Returns false when another thread has reported meanwhile that the path is gone.
    bool Put(const NotificationPtr& notification)
    {
        PendingStore::Locked store(m.pending);
        if (!MayExist(store))
            return false;
        store->Put(m_path, notification);
        return true;
    }

private:
    static constexpr std::uint64_t Unanswered = ~std::uint64_t{0};

    Judgement(const IntakeParts& parts, const CString& path, const PendingStore::Locked& store)
        : m(parts),
          m_path(path),
          m_look(*store, path)
    {
    }

    // Returns false when a deletion is pending and the path is gone. The disk is asked without this object's lock of
    // the store, and once more for each deletion that is reported meanwhile.
    bool MayExist(PendingStore::Locked& store)
    {
        while (m_answered != m_look.Reports()) {
            m_answered = m_look.Reports();
            if (!IsDeletion(store->Find(m_path)))
                return true;
            const PendingStore::Left left(store);
            if (m.selection.IsGone(m_path))
                return false;
        }
        return true;
    }

    const IntakeParts& m;
    const CString& m_path;
    NotificationStore::Look m_look;
    std::uint64_t m_answered = Unanswered; // the reports that the judgement has taken into account
};

namespace
{

// Set when a watcher with a user's token has made the notifier act for that user. All watchers of the process share the
// notifier.
std::atomic<bool> g_notifierActs{false};

// The rights with which one event is handled, whatever rights the notifier has.
class EventRights
{
public:
    explicit EventRights(HANDLE token)
    {
        if (token)
            m_user.emplace(token);
        else if (g_notifierActs)
            m_process.emplace();
    }
    bool Holds() const { return !m_user || m_user->Acts(); }

private:
    std::optional<ActingForUser> m_user;
    std::optional<WithoutThreadToken> m_process;
};

} // namespace

// Runs the change. If it fails, a full enumeration becomes due.
template <typename Change>
void ChangeHandler::Take(Change change) noexcept
{
    const EventRights rights(m.config.userToken);
    if (!rights.Holds() || !Completes(L"Taking a change in", change))
        m.due.MakeFull();
}

void ChangeHandler::OnFileAdded(const wchar_t* path)
{
    Take([&] { ProcessChangedFile(path, Arrival::Event); });
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

void ChangeHandler::OnWatchStarted(DWORD, const wchar_t*)
{
    if (m.config.userToken && ImpersonateUser(m.config.userToken))
        g_notifierActs = true;
}

void ChangeHandler::OnReadChangesError(DWORD error, const wchar_t* directory)
{
    // After lost changes the root must be rescanned. Any other error has ended the watch. The watch thread compares the
    // wanted roots with the watched ones and starts it again; changes were lost then, too.
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Changes below %s were lost: %d", directory, error);
    Take([&] {
        m.due.Rescans().Report(OrbFilter::StripToRoot(directory), DueRescans::LostChanges, m.config.clock->Seconds());
    });
}

std::optional<ChangeHandler::EventPath> ChangeHandler::NormalizeEventPath(const wchar_t* path,
                                                                          std::optional<FileFacts> known)
{
    const CString given(path);
    if (given.IsEmpty() || given.GetLength() > LongestEventPath || m_ownFiles.Contains(given))
        return std::nullopt;
    CString normal = LongForm(given);
    if (normal.IsEmpty() || normal.GetLength() > LongestEventPath)
        return std::nullopt;
    const FileFacts facts = known ? *known : FileFacts::Of(normal);
    if (facts.IsFolder())
        normal = WithBackslash(normal);
    EventPath event{normal, false, facts};
    m.selection.FollowLinks(event.path);
    event.throughLink = event.path != normal;
    return event;
}

std::optional<ChangeHandler::Classified> ChangeHandler::ClassifyPath(const CString& path, PathOutcome* refusal)
{
    Classification answer = Classify(m.selection, path);
    if (answer.decision == Excluded)
        m.overlay.Set(path, OverlayStatus::Excluded);
    if (refusal)
        *refusal = RefusalOf(answer);
    if (answer.decision != Included && answer.decision != NotApplicable)
        return std::nullopt;
    return Classified{answer.decision, std::move(answer.rules)};
}

bool ChangeHandler::IsHiddenSkipped(const EventPath& event, const Notification& notification)
{
    if (PathIsRootW(event.path))
        return false;
    // A folder's list may be older than the file, for a file with several names for a long time. So it keeps no file
    // out. Facts from before the judgement began do not count: the file may be gone since.
    if (event.facts.AreListed() && !event.facts.IsHidden())
        return false;
    ImpersonateUser(m.config.userToken);
    const FileFacts facts = FileFacts::Of(event.path);
    if (!facts.AreKnown() && IsPassing(facts.Error())) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s cannot be looked at now: %d", event.path.GetString(),
                          facts.Error());
        return false;
    }
    return facts.IsHidden() && !m.config.hiddenFiles && !(notification.ruleFlags & QueueFlags::EvenWhenHidden);
}

// Returns true for a path that the system does not open by its name, and logs a selected one.
bool ChangeHandler::LeftOutByName(const wchar_t* path)
{
    if (MayBeOpened(path))
        return false;
    if (ClassifyPath(path))
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"A file is left out, the system does not take its name: %s",
                          path);
    return true;
}

PathOutcome ChangeHandler::ProcessChangedFile(const wchar_t* eventPath, Arrival arrival, std::optional<FileFacts> known)
{
    const bool expandDirectory = arrival != Arrival::Found;
    if (LeftOutByName(eventPath))
        return PathOutcome::Unreadable;
    const std::optional<EventPath> event = NormalizeEventPath(eventPath, known);
    if (!event)
        return DroppedAs(m_ownFiles, eventPath);
    const CString& path = event->path;
    PathOutcome refusal = PathOutcome::NotSelected;
    const std::optional<Classified> classified = ClassifyPath(path, &refusal);
    if (!classified) {
        if (expandDirectory)
            AddSelectedBelow(*event);
        return refusal;
    }
    // Only deletions have a time. A deletion with the file's return right after it is a save that replaces the file.
    bool replaced = false;
    const auto take = [&](PendingStore::Locked& store, const NotificationPtr& pending) {
        KeepDeletionOfChildren(store, path, pending);
        replaced = pending && m.config.clock->FileTime() <= pending->timeStamp + ReplacedWithin;
        if (replaced)
            store->Erase(path);
    };
    Judgement judgement(m, path);
    if (!judgement.Begin(take))
        return PathOutcome::Missing;
    if (replaced)
        return Replace(*event, expandDirectory);
    const PathOutcome outcome = QueueAdded(*event, *classified, expandDirectory, refusal, judgement);
    if (outcome == PathOutcome::Queued && arrival == Arrival::Event && m_instantRun.IsWantedFor(path))
        m_instantRun.Signal();
    return outcome;
}

PathOutcome ChangeHandler::Replace(const EventPath& event, bool expandDirectory)
{
    ProcessModified(event.path);
    // A folder that was replaced by another one has other contents.
    if (expandDirectory)
        AddDirectoryChildren(event);
    return m.pending.Find(event.path) ? PathOutcome::Queued : PathOutcome::Unchanged;
}

PathOutcome ChangeHandler::QueueAdded(const EventPath& event, const Classified& classified, bool expandDirectory,
                                      PathOutcome refusal, Judgement& judgement)
{
    const CString& path = event.path;
    auto notification = std::make_shared<Notification>();
    FillFromRules(*notification, classified.rules);
    if (IsHiddenSkipped(event, *notification)) {
        g_OrbLog.Log(L"File: %s is Hidden and will be skipped", path.GetString());
        return DroppedAsHidden(path, judgement.DropHidden());
    }
    if (expandDirectory)
        AddDirectoryChildren(event);
    const std::optional<PathOutcome> duplicate = IsDuplicateNotification(event);
    if (duplicate || classified.result == NotApplicable) {
        judgement.Drop();
        return duplicate.value_or(refusal);
    }
    if (!judgement.Put(notification))
        return PathOutcome::Missing;
    if (m.overlay.AreWanted() && (notification->ruleFlags & QueueFlags::ShowOverlay))
        m.overlay.Set(event.facts.IsFolder() ? WithBackslash(path) : path, OverlayStatus::Pending);
    return PathOutcome::Queued;
}

void ChangeHandler::KeepUnreachable(const wchar_t* path)
{
    const std::optional<Classified> classified = ClassifyPath(path);
    if (!classified)
        return;
    auto notification = std::make_shared<Notification>();
    FillFromRules(*notification, classified->rules);
    const PendingStore::Locked store(m.pending);
    if (!store->Find(path))
        store->Put(path, notification);
}

void ChangeHandler::ProcessModified(const wchar_t* eventPath)
{
    if (LeftOutByName(eventPath) || IsEcho(m, eventPath))
        return;
    const std::optional<EventPath> event = NormalizeEventPath(eventPath);
    if (!event)
        return;
    const CString& path = event->path;
    const std::optional<Classified> classified = ClassifyPath(path);
    if (!classified)
        return;
    const auto keep = [&](PendingStore::Locked& store, const NotificationPtr& pending) {
        KeepDeletionOfChildren(store, path, pending);
    };
    Judgement judgement(m, path);
    if (!judgement.Begin(keep))
        return;
    if (IsDuplicateNotification(*event) || classified->result == NotApplicable)
        return judgement.Drop();
    if (judgement.IsReportOnly())
        return;
    const auto notification = std::make_shared<Notification>();
    notification->kind = NotificationKind::Modified;
    FillFromRules(*notification, classified->rules);
    if (IsHiddenSkipped(*event, *notification)) {
        judgement.DropHidden();
        return;
    }
    if (!judgement.Put(notification))
        return;
    if (notification->ruleFlags & QueueFlags::ShowOverlay)
        m.overlay.MarkModified(path);
}

// Turns what the change engine reports into pending changes.
//
// The slots run on the engine's notifier thread, one event at a time; Resume and
// AddSingleNotification come in on a service's thread through ProcessChangedFile.
#pragma once

#include "directory_changes/DirectoryChanges.h"
#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/core/Notification.h"

#include <optional>

struct WatcherState;
class COrbWatcher;

class ChangeHandler : public CDirectoryChangeHandler
{
public:
    // Both must outlive the handler.
    ChangeHandler(COrbWatcher& watcher, WatcherState& state) : m_watcher(watcher), m(state) {}

    void OnFileAdded(const wchar_t* path) override;
    void OnFileRemoved(const wchar_t* path) override;
    void OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath) override;
    void OnFileModified(const wchar_t* path) override;
    void OnReadChangesError(DWORD error, const wchar_t* directory) override;
    void OnWatchStarted(DWORD error, const wchar_t* directory) override;

    // A file or folder that is there (again). expandDirectory: a folder's contents, too. `listed`: its attributes,
    // where somebody has just read them; the disk is asked otherwise, and before they keep anything out.
    PathOutcome ProcessChangedFile(const wchar_t* path, bool expandDirectory, bool allowInstantRun,
                                   std::optional<DWORD> listed = std::nullopt);

    // A path that waits for backup and cannot be looked at now, its drive being away: it goes on waiting.
    void KeepUnreachable(const wchar_t* path);

    // The path of an event as the rules and the store see it.
    struct EventPath {
        CString path;     // a folder that is there ends in a backslash
        bool throughLink; // a remembered link lies on the way: `path` is where that leads
    };
    // Nothing when the event is to be dropped.
    std::optional<EventPath> NormalizeEventPath(const wchar_t* path, std::optional<DWORD> listed = std::nullopt);

private:
    struct Classified {
        InclusionType result;
        FilterList rules;
    };
    class Judgement;

    template <typename Change>
    void Take(Change change) noexcept;
    void ProcessModified(const wchar_t* path);
    void ProcessRemoved(const wchar_t* path);
    // Nothing when the event ends here; `refusal`, when given, then says why.
    std::optional<Classified> ClassifyPath(const CString& path, PathOutcome* refusal = nullptr);
    // Returns true for a path that the system cannot open, whatever it is.
    bool LeftOutByName(const wchar_t* path);
    PathOutcome DroppedAs(const CString& eventPath) const;
    bool IsWaiting(const CString& path) const;
    bool IsHiddenSkipped(const CString& path, const Notification& notification,
                         std::optional<DWORD> listed = std::nullopt);
    void AddDirectoryChildren(const EventPath& folder);
    void AddSelectedBelow(const EventPath& folder);
    void ReadEnded(const CString& path, DWORD error);
    // Nothing when the path must be backed up; otherwise why it need not.
    std::optional<PathOutcome> IsDuplicateNotification(const CString& path);
    bool WasUploaded(const CString& path, std::uint64_t modificationTime);
    void DropPending(const CString& path);
    PathOutcome Replace(const EventPath& event, bool expandDirectory);
    PathOutcome QueueAdded(const EventPath& event, const Classified& classified, bool expandDirectory,
                           std::optional<DWORD> listed, PathOutcome refusal);
    // With the store locked.
    void KeepDeletionOfChildren(const CString& path, const NotificationPtr& pending);
    void RecordRemoval(const CString& path, const FilterList& rules);
    void SetOverlay(const CString& path, std::int32_t status);
    void MarkModifiedInOverlay(const CString& path);

    COrbWatcher& m_watcher;
    WatcherState& m;
};

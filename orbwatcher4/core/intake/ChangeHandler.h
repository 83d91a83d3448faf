// Turns the events of the change engine into pending changes.
//
// The engine's notifier thread calls the slots, one event at a time. Other threads name paths at any time:
// enumerations, the processing of deletions, the replay and the operations of a service. They use ProcessChangedFile
// for a path that exists and OnFileRemoved for one that is gone. The contents of a new folder come through OnFileAdded,
// on the thread that has named the folder. docs/architecture.md lists these threads and the locks that they hold.
#pragma once

#include "directory_changes/DirectoryChanges.h"
#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/core/intake/FileFacts.h"
#include "orbwatcher4/core/intake/InstantRun.h"
#include "orbwatcher4/core/intake/IntakeParts.h"
#include "orbwatcher4/core/intake/OwnFiles.h"

#include <optional>

// How a path has come to the watcher. The contents of a folder are handled with it when an event or a new rule names
// it; a walk or a replay names them itself. Only an event may wake the service for a backup at once. The contents of a
// folder count as events, also when a new rule names the folder.
enum class Arrival { Found, Event, Rule };

class ChangeHandler : public CDirectoryChangeHandler
{
public:
    explicit ChangeHandler(const IntakeParts& parts) : m(parts), m_instantRun(parts.config) {}

    OwnFiles& Own() { return m_ownFiles; }
    InstantRun& Instant() { return m_instantRun; }

    void OnFileAdded(const wchar_t* path) override;
    void OnFileRemoved(const wchar_t* path) override;
    void OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath) override;
    void OnFileModified(const wchar_t* path) override;
    void OnReadChangesError(DWORD error, const wchar_t* directory) override;
    void OnWatchStarted(DWORD error, const wchar_t* directory) override;

    // Handles a file or folder that exists (again). `known`: what the caller has just seen of the path; without it the
    // disk is asked. The disk is also asked before a path is kept out.
    PathOutcome ProcessChangedFile(const wchar_t* path, Arrival arrival, std::optional<FileFacts> known = std::nullopt);

    // Makes a selected path pending that cannot be examined now: its drive is away, or the letter holds another volume.
    // A pending entry of the path stays.
    void KeepUnreachable(const wchar_t* path);

    // The path of an event as the rules and the store see it.
    struct EventPath {
        CString path;     // the path of an existing folder ends in a backslash
        bool throughLink; // the event's path goes through a remembered link, and `path` is its target
        FileFacts facts;  // of the event's path
    };
    // Returns nothing when the event is to be dropped.
    std::optional<EventPath> NormalizeEventPath(const wchar_t* path, std::optional<FileFacts> known = std::nullopt);

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
    // Returns nothing when the path is not selected; `refusal`, when given, then receives the reason.
    std::optional<Classified> ClassifyPath(const CString& path, PathOutcome* refusal = nullptr);
    // Returns true for a path that the system cannot open, whatever it is.
    bool LeftOutByName(const wchar_t* path);
    bool IsHiddenSkipped(const EventPath& event, const Notification& notification);
    void AddDirectoryChildren(const EventPath& folder);
    void AddSelectedBelow(const EventPath& folder);
    void ReadEnded(const CString& path, DWORD error);
    // Returns nothing when the path must be backed up, and otherwise the reason why not.
    std::optional<PathOutcome> IsDuplicateNotification(const EventPath& event);
    PathOutcome Replace(const EventPath& event, bool expandDirectory);
    PathOutcome QueueAdded(const EventPath& event, const Classified& classified, bool expandDirectory,
                           PathOutcome refusal, Judgement& judgement);
    void RecordRemoval(const CString& path, const FilterList& rules);

    const IntakeParts m;
    OwnFiles m_ownFiles;
    InstantRun m_instantRun;
};

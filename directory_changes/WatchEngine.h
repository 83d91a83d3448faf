// The watches of one CDirectoryChangeWatcher and the run that serves them.
//
// The watcher, its watches, and the handlers that are linked to it share the engine: each of them may be destroyed
// first, from inside an event too. Any thread but the worker. The engine's section guards the array and the run;
// nothing waits inside it.
#pragma once

#include "directory_changes/DirWatchInfo.h"
#include "directory_changes/EndingWatches.h"

#include <memory>
#include <vector>

class WatchEngine : public std::enable_shared_from_this<WatchEngine>
{
public:
    using Record = std::shared_ptr<CDirWatchInfo>;

    WatchEngine(CDirectoryChangeWatcher& watcher, ChangeIo& io, bool appHasGui, DWORD filterFlags);
    ~WatchEngine();
    WatchEngine(const WatchEngine&) = delete;
    WatchEngine& operator=(const WatchEngine&) = delete;

    // The operations of CDirectoryChangeWatcher, with arguments that name something. Watch throws std::bad_alloc and
    // std::system_error, and then has begun nothing; the others do not throw.
    DWORD Watch(const wchar_t* path, CDirectoryChangeHandler& handler);
    bool Unwatch(WatchSelector selector) noexcept;
    void UnwatchAll() noexcept;
    bool IsWatching(const wchar_t* path) const noexcept;

    // Slots of the watches that are not ending; may be null. Guarded by the section.
    const std::vector<Record>& Records() const ORB_UNCHECKED_LOCKS { return m_records; }

    // Asks the record to end; returns before it has. May be called more than once.
    static void AskToStop(const Record& record) noexcept;
    // Does the task of a step, when it is a task for callers.
    static void PerformFor(const Record& record, const WatchStep& step) noexcept;
    // Ends a watch whose state has become StateEnded: takes it out, if no caller has, and posts its last events.
    static void Finish(const Record& record, WatchEnding ending, DWORD error) noexcept;

private:
    class RefusingWatches;
    enum class Joined { Yes, PathIsWatched };

    bool AllAreEnding() const;
    Record MakeRecord(const wchar_t* path, CDirectoryChangeHandler& handler, DWORD& error);
    DWORD BeginWatch(const Record& record, CDirectoryChangeHandler& handler);
    DWORD JoinRun(const Record& record);
    DWORD TryJoin(const Record& record, Joined& joined);
    DWORD AddToRun(const Record& record) ORB_REQUIRES(m_section);
    void Store(const Record& record) ORB_REQUIRES(m_section);
    DWORD StartMonitoring(const Record& record);
    DWORD LinkHandler(const Record& record, CDirectoryChangeHandler& handler);
    bool TakeOut(const WatchSelector& selector) noexcept;

    CDirectoryChangeWatcher& m_watcher;
    ChangeIo& m_io;
    const bool m_appHasGui;
    const DWORD m_filterFlags;
    mutable RankedSection m_section{LockRank::EngineArray, L"engine array"};
    std::vector<Record> m_records ORB_GUARDED_BY(m_section);
    std::shared_ptr<EngineRun> m_run ORB_GUARDED_BY(m_section); // null when nothing is watched
    int m_endings ORB_GUARDED_BY(m_section) = 0;                // calls of UnwatchAll in progress
};

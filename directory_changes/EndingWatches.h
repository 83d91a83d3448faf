// The watches of the process that are ending, whichever call or error ends them. Every unwatch, and a handler's
// destructor, waits for those that concern it: nothing comes after it has returned.
//
// One list for the process: a handler may have watches that end with one watcher while another one has it already, and
// either watcher may be destroyed meanwhile.
//
// Waits go one way, so that no two threads ever wait for each other:
//
//     a caller           waits for the worker and for events in progress: until the watch is idle
//     an event           (a caller inside an event) waits for the worker: until the watch is drained
//     the worker         waits for room in the notifier's queue
//     the notifier       waits for nothing; while an event waits, it dispatches what is queued
//
// Any thread. No call asks for memory or throws.
#pragma once

#include "directory_changes/DirectoryChanges.h"

#include <memory>

class CDirWatchInfo;
class WatchEngine;

// Selects watches: null members select all.
struct WatchSelector {
    const WatchEngine* engine = nullptr;
    const wchar_t* path = nullptr; // compared as a whole text without regard to case
    const CDirectoryChangeHandler* handler = nullptr;
    const CDirWatchInfo* record = nullptr;

    bool Matches(const CDirWatchInfo& watch) const noexcept;
};

class EndingWatches
{
public:
    static EndingWatches& Instance() noexcept;

    // Adds a record that the engine takes out of its array, inside the engine's section: at each moment the record is
    // in one of the two.
    void Add(const std::shared_ptr<CDirWatchInfo>& record) noexcept;
    void Remove(const CDirWatchInfo& record) noexcept;
    bool IsEmpty() const noexcept;

    // Ends the selected watches of the list, and waits until they have ended; watches that are added later are not
    // waited for. Returns true when there was something to wait for. Not for the worker.
    bool EndAndWait(const WatchSelector& selector) noexcept;
    // The handler is being destroyed: waits for all its watches. Watches whose event is in progress below a caller
    // inside an event forget the handler.
    void ForgetHandler(const CDirectoryChangeHandler& handler) noexcept;

private:
    using Record = std::shared_ptr<CDirWatchInfo>;

    template <typename Predicate>
    Record Find(Predicate wanted) noexcept;
    unsigned long long Newest() noexcept;

    mutable RankedSection m_section{LockRank::EngineArray, L"ending watches"};
    Record m_first ORB_GUARDED_BY(m_section); // linked by nextEnding
    unsigned long long m_added ORB_GUARDED_BY(m_section) = 0;
};

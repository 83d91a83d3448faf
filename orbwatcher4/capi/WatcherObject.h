// The object behind an OrbWatcherHandle: a watcher, its set-up, and whether it is watching. Any thread: calls that use
// the watcher share it, and start and stop wait for them, so that no file is put back after the last dump.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/capi/Border.h"
#include "orbwatcher4/capi/KeptEvents.h"
#include "orbwatcher4/capi/SharedLock.h"
#include "support/Handle.h"

#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>

struct WatcherSetup {
    std::wstring selection;
    std::wstring autoExclusions;
    std::wstring advancedRules;
    std::wstring secondaryRules;
    std::wstring indexDatabase;
    std::wstring destination;
    bool hiddenFiles = false;
    bool keepEvents = false;
};

struct OrbWatcherObject {
public:
    // Loads the selection.
    explicit OrbWatcherObject(WatcherSetup setup);
    // Stops the watcher.
    ~OrbWatcherObject();
    OrbWatcherObject(const OrbWatcherObject&) = delete;
    OrbWatcherObject& operator=(const OrbWatcherObject&) = delete;

    // Returns the number of objects in this process.
    static unsigned Count();

    void Start();
    // Returns false when the pending files could not be kept.
    bool Stop();
    bool IsPendingKept();

    // These refuse in the wrong state.
    template <typename Work>
    auto WhileWatching(Work&& work)
    {
        const std::shared_lock lock(m_lock);
        if (!m_watching)
            throw Refused{ORB_WRONG_STATE, L"the watcher is not watching"};
        return work(*m_watcher);
    }
    template <typename Work>
    auto WhileLoaded(Work&& work)
    {
        const std::shared_lock lock(m_lock);
        if (!m_watcher)
            throw Refused{ORB_WRONG_STATE, L"the watcher was stopped"};
        return work(*m_watcher);
    }
    // Checks the condition repeatedly, without the lock in between. Returns false when the time is over.
    bool Becomes(const std::function<bool(COrbWatcher&)>& condition, uint32_t milliseconds);

    KeptEvents& Events() { return m_events; }
    // Set when a full enumeration has completed.
    HANDLE Completed() const { return m_completed.Get(); }

private:
    // Counts the objects, also one whose construction fails.
    struct Counted {
        Counted();
        ~Counted();
        Counted(const Counted&) = delete;
        Counted& operator=(const Counted&) = delete;
    };

    std::unique_ptr<COrbWatcher> MakeLoaded();
    void RequireSettings(COrbWatcher& watcher) const;
    bool StopLocked();

    const Counted m_counted;
    const WatcherSetup m_setup;
    std::wstring m_completedName;
    KernelHandle m_completed;
    KeptEvents m_events;
    SharedLock m_lock;
    std::unique_ptr<COrbWatcher> m_watcher; // guarded by m_lock; null after a stop
    bool m_watching = false;                // guarded by m_lock
    bool m_pendingKept = true;              // guarded by m_lock
};

// The events that the watcher reports on its own threads, kept until the main thread prints them: those threads must
// not wait for standard output.
#pragma once

#include "orbwatcher4/OrbWatcher.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

class WatcherEvents
{
public:
    struct Rescan {
        CString root;
        std::string reason;
    };

    // Make the object before the watcher is started; the watcher must have ended before the object is destroyed.
    explicit WatcherEvents(COrbWatcher& watcher)
    {
        watcher.SetDeletionListener([this](const DeletionRecord& record) {
            const std::scoped_lock lock(m_mutex);
            m_deletions.push_back(record);
        });
        watcher.SetRescanListener([this](const CString& root, const char* reason) {
            const std::scoped_lock lock(m_mutex);
            m_rescans.push_back({root, reason});
        });
    }
    WatcherEvents(const WatcherEvents&) = delete;
    WatcherEvents& operator=(const WatcherEvents&) = delete;

    // Returns the events since the last call.
    std::vector<DeletionRecord> TakeDeletions()
    {
        const std::scoped_lock lock(m_mutex);
        return std::exchange(m_deletions, {});
    }
    std::vector<Rescan> TakeRescans()
    {
        const std::scoped_lock lock(m_mutex);
        return std::exchange(m_rescans, {});
    }

private:
    std::mutex m_mutex;
    std::vector<DeletionRecord> m_deletions; // guarded by m_mutex
    std::vector<Rescan> m_rescans;           // guarded by m_mutex
};

// What the watcher tells on its own threads, until the main thread passes it on:
// those threads must not wait for standard output.
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

    // Before the watcher is started; it must have ended before this is gone.
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

    // What has come since the last call.
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

// The delete records that the watcher has written, until the main thread tells
// them: whoever writes them must not wait for standard output.
#pragma once

#include "orbwatcher4/OrbWatcher.h"

#include <mutex>
#include <utility>
#include <vector>

class DeletionQueue
{
public:
    // Must be gone from the watcher before the queue is.
    void ListenTo(COrbWatcher& watcher)
    {
        watcher.SetDeletionListener([this](const DeletionRecord& record) {
            const std::scoped_lock lock(m_mutex);
            m_records.push_back(record);
        });
    }
    // What has come since the last call.
    std::vector<DeletionRecord> Take()
    {
        const std::scoped_lock lock(m_mutex);
        return std::exchange(m_records, {});
    }

private:
    std::mutex m_mutex;
    std::vector<DeletionRecord> m_records; // guarded by m_mutex
};

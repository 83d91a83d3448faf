// Keeps pending files over a restart, in "watcher_dump.bin" in the data folder (docs/dump-file.md).
//
// A dump that was damaged, lost, exchanged or not trusted makes a full enumeration due. A dump that was not replayed is
// kept, and the next one is appended to it. In a data folder of another selection, the dump is left alone. One thread
// at a time.
#pragma once

#include "orbwatcher4/core/due/DueEnumerations.h"
#include "orbwatcher4/core/environment/Config.h"
#include "orbwatcher4/core/pending/PendingStore.h"

#include <atomic>
#include <functional>

class Dump
{
public:
    Dump(const Config& config, DueEnumerations& due, PendingStore& pending)
        : m_config(config),
          m_due(due),
          m_pending(pending)
    {
    }

    // Calls `line` for each path of the dump, and removes the dump. If `stop` returns true or `line` throws, the dump
    // stays.
    void Replay(const std::function<bool()>& stop, const std::function<void(const CString&)>& line);
    // Writes what is pending. If that fails, a full enumeration becomes due.
    void Write();
    // Returns false when the last Write did not write everything. Any thread.
    bool IsKept() const { return m_kept; }

private:
    void WritePending();
    bool WriteLines(const std::vector<NotificationStore::Entry>& entries);

    const Config& m_config;
    DueEnumerations& m_due;
    PendingStore& m_pending;
    std::atomic<bool> m_kept{true};
};

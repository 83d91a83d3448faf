// Takes pending files from a watcher as a backup service does: prints them, records them in the index, and deals with
// deletions in between. One thread.
#pragma once

#include "host/PendingQueue.h"
#include "host/ServiceIndex.h"
#include "host/UnreadableFiles.h"
#include "host/WatcherEvents.h"
#include "host/WrittenFiles.h"

#include <cstdint>

class BackupHandOut
{
public:
    // All must outlive the hand-out. `record`: what is handed out counts as backed up.
    BackupHandOut(COrbWatcher& watcher, WatcherEvents& events, ServiceIndex& index, RecordWriter& writer, bool record)
        : m_watcher(watcher),
          m_events(events),
          m_index(index),
          m_writer(writer),
          m_record(record),
          m_written(watcher, writer),
          m_queue(watcher)
    {
    }

    // Returns the files that the command itself writes. They are never handed out.
    WrittenFiles& Written() { return m_written; }

    // Takes one pending file, and hands it out unless it is the command's own output, or waits unchanged for its
    // commit. Returns false when there is none to be had now. `atOnce`: asks the watcher in any case.
    bool GiveOne(bool atOnce);
    // Makes files pending again that could not be read, after growing pauses or, with `atOnce`, now. Returns true when
    // there were any.
    bool RetryUnreadable(bool atOnce);
    // Reports deletions. Returns true when there were any.
    bool TellDeletions();
    // Records what was handed out.
    void Commit();

    std::uint64_t HandedOut() const { return m_handedOut; }
    std::uint64_t Deletions() const { return m_deletions; }
    std::uint64_t Unreadable() const { return m_unreadable.Count(); }

private:
    void Give(const QueueDatum& datum);

    COrbWatcher& m_watcher;
    WatcherEvents& m_events;
    ServiceIndex& m_index;
    RecordWriter& m_writer;
    const bool m_record;
    WrittenFiles m_written;
    PendingQueue m_queue;
    UnreadableFiles m_unreadable; // handed out while unreadable, and not again since
    std::uint64_t m_handedOut = 0;
    std::uint64_t m_deletions = 0;
};

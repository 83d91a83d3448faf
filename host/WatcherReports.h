// Reports what a watcher and its library say besides pending files and deletions: rescans, what enumerations skipped,
// failures, and what cannot be kept. Knows afterwards whether everything went well. One thread.
#pragma once

#include "host/LibraryMessages.h"
#include "host/Selection.h"
#include "host/WatcherEvents.h"

#include <memory>
#include <set>

class WatcherReports
{
public:
    // All must outlive the reports.
    WatcherReports(COrbWatcher& watcher, WatcherEvents& events, const SelectionFiles& files, RecordWriter& writer)
        : m_watcher(watcher),
          m_events(events),
          m_files(files),
          m_writer(writer)
    {
    }

    // Failures of the library count from here on: those of the loading of the selection were reported as its findings.
    void Begin() { m_messages = std::make_unique<LibraryMessages>(LibraryMessages::Keep::Failures); }
    // Reports the events of the watcher since the last call. Returns true when there were any.
    bool TellEvents();
    // Reports the failures of the library since the last call. Returns true when there were any.
    bool TellMessages();
    // Reports, once, that a crash of this run would go unnoticed.
    void TellUnmarked();
    // Returns true when nothing was skipped, and everything can be kept.
    bool IsAllWell() const { return !m_skipped && !m_unmarked && m_unkept.empty(); }

private:
    bool TellSkipped();
    void TellSkipped(const PassedOverPath& path);
    void TellUnkept(const std::wstring& message);

    COrbWatcher& m_watcher;
    WatcherEvents& m_events;
    const SelectionFiles& m_files;
    RecordWriter& m_writer;
    std::unique_ptr<LibraryMessages> m_messages; // from Begin on
    bool m_skipped = false;                      // something of the selection was skipped
    std::set<std::wstring> m_toldSkipped;        // paths, each is told once
    std::set<std::wstring> m_unkept;             // messages about files of the data folder that could not be written
    bool m_unmarked = false;
};

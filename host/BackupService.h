// Does for the commands what a backup service does with pending files: sets up a watcher with its selection and index,
// hands out what is pending (BackupHandOut), reports the rest (WatcherReports), and ends such that everything still
// pending is kept. One thread.
#pragma once

#include "host/BackupHandOut.h"
#include "host/ExclusiveUse.h"
#include "host/ExitCode.h"
#include "host/FirstTimeRuns.h"
#include "host/WatcherReports.h"

class BackupService
{
public:
    // Both arguments must outlive the service.
    BackupService(const ServiceOptions& options, RecordWriter& writer);
    // Ends the watcher's threads.
    ~BackupService() { m_watcher.AbortWatching(); }

    // Loads the selection, keeps the data folder and the index for this command, opens the index and replays what the
    // last run left pending. On failure, reports it and returns the exit code.
    enum class LeftPending { IsReplayed, StaysForTheNextRun };
    std::optional<ExitCode> Open(LeftPending left = LeftPending::IsReplayed);
    // Reports why a full enumeration is due, before the watcher that makes it is started. Returns false when none is.
    bool TellDueEnumeration();
    COrbWatcher& Watcher() { return m_watcher; }
    FirstTimeRuns& Enumerations() { return m_enumerations; }
    BackupHandOut& HandOut() { return m_handOut; }
    // The paths of the options that no backup holds.
    KeptOutside Outside() { return {FullPath(m_options.destination), m_options.index, m_handOut.Written().Paths()}; }

    // Reports deletions, rescans and what enumerations skipped. Returns true when there were any.
    bool TellEvents();
    // Reports failures of the library. Returns true when there were any.
    bool TellMessages() { return m_reports.TellMessages(); }

    // Returns the exit code after Ctrl-C, after the time limit, or when standard output cannot be written any more.
    std::optional<ExitCode> OutsideEnd() const;

    // Stops the watcher, keeps what is pending for the next start, and reports the rest. For an orderly end (ExitDone),
    // the returned code tells what failed meanwhile. `unreadable`: the caller knows of unreadable files, too.
    ExitCode End(ExitCode code, bool unreadable = false);

    double StartedAt() const { return m_start; }
    // Returns true when rules of the selection are missing or mean something else, because their items or values could
    // not be read.
    bool IsSelectionPartly() const { return m_selectionPartly; }
    // After the end: the number of entries that were kept.
    std::int64_t StillPending() const { return m_stillPending; }

private:
    ExitCode WithFailures(ExitCode code, bool unreadable) const;

    const ServiceOptions& m_options;
    RecordWriter& m_writer;
    ExclusiveUse m_use; // given back last
    COrbWatcher m_watcher{false};
    ServiceIndex m_index{m_options, m_writer};
    WatcherEvents m_events{m_watcher};
    FirstTimeRuns m_enumerations{m_watcher};
    WatcherReports m_reports{m_watcher, m_events, m_options.files, m_writer};
    BackupHandOut m_handOut{m_watcher, m_events, m_index, m_writer, m_options.record};
    bool m_selectionPartly = false;
    std::int64_t m_stillPending = 0;
    const double m_start = Seconds();
};

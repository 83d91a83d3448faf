// Does for the commands what a backup service does with pending files: sets up a watcher with its selection and index,
// takes and records what it hands out, and ends such that everything still pending is kept. One thread.
#pragma once

#include "host/ExclusiveUse.h"
#include "host/ExitCode.h"
#include "host/FirstTimeRuns.h"
#include "host/LibraryMessages.h"
#include "host/OwnOutput.h"
#include "host/PendingQueue.h"
#include "host/ServiceIndex.h"
#include "host/WatcherEvents.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>

class BackupService
{
public:
    // Both arguments must outlive the service.
    BackupService(const ServiceOptions& options, RecordWriter& writer);
    // Ends the watcher's threads.
    ~BackupService();
    BackupService(const BackupService&) = delete;
    BackupService& operator=(const BackupService&) = delete;

    // Loads the selection, keeps the data folder and the index for this command, opens the index and replays what the
    // last run left pending. On failure, reports it and returns the exit code.
    enum class LeftPending { IsReplayed, StaysForTheNextRun };
    std::optional<ExitCode> Open(LeftPending left = LeftPending::IsReplayed);
    // Reports why a full enumeration is due, before the watcher that makes it is started. Returns false when none is.
    bool TellDueEnumeration();
    COrbWatcher& Watcher() { return m_watcher; }
    FirstTimeRuns& Enumerations() { return m_enumerations; }

    // Keeps a file out that the command writes, and says so if the selection includes it.
    void KeepOwnFileOut(const std::wstring& path, const std::wstring& what);
    // The paths of the options that no backup holds.
    KeptOutside Outside() const { return {FullPath(m_options.destination), m_options.index, m_ownFiles}; }

    // Takes one pending file, and hands it out unless it is the command's output, or is waiting to be recorded
    // unchanged. Returns false when there is none to be had now. `now`: asks the watcher in any case.
    bool GiveOne(bool now);
    // Makes files pending again that could not be read, after growing pauses or, with `now`, at once. Returns true when
    // there were any.
    bool RetryUnreadable(bool now);
    // Reports deletions, rescans and what enumerations skipped. Returns true when there were any.
    bool TellEvents();
    // Reports failures of the library. Returns true when there were any.
    bool TellMessages();

    // Returns the exit code after Ctrl-C, after the time limit, or when standard output cannot be written any more.
    std::optional<ExitCode> OutsideEnd() const;

    // Stops the watcher, keeps what is pending for the next start, and reports the rest. For an orderly end (ExitDone),
    // the returned code tells what failed meanwhile. `unreadable`: the caller knows of unreadable files, too.
    ExitCode End(ExitCode code, bool unreadable = false);

    double StartedAt() const { return m_start; }
    std::uint64_t HandedOut() const { return m_handedOut; }
    std::uint64_t Deletions() const { return m_deletions; }
    // Returns true when rules of the selection are missing or mean something else, because their items or values could
    // not be read.
    bool IsSelectionPartly() const { return m_selectionPartly; }
    std::uint64_t Unreadable() const { return m_unreadable.size(); }
    // After the end: the number of entries that were kept.
    std::int64_t StillPending() const { return m_stillPending; }

private:
    bool UseFolder();
    bool TakeOver();
    void TellUnmarked();
    void TellUnkept(const std::wstring& message);
    bool TellDeletions();
    bool TellSkipped();
    void TellSkipped(const PassedOverPath& path);
    void Give(const QueueDatum& datum, const FileIdentity& identity);
    void CommitRecords();
    ExitCode WithFailures(ExitCode code, bool unreadable) const;

    const ServiceOptions& m_options;
    RecordWriter& m_writer;
    ExclusiveUse m_use; // given back last
    COrbWatcher m_watcher{false};
    ServiceIndex m_index;
    WatcherEvents m_events;
    FirstTimeRuns m_enumerations;
    std::unique_ptr<LibraryMessages> m_messages; // made when the selection is loaded
    PendingQueue m_queue;
    std::set<std::wstring> m_unreadable; // handed out while unreadable, and not again since
    double m_retryAt = 0;                // time of the next try for them
    double m_retryPause = 0;             // seconds
    bool m_selectionPartly = false;
    OwnOutput m_output;
    std::vector<std::wstring> m_ownFiles; // what the command writes
    bool m_skipped = false;               // something of the selection was skipped
    std::set<std::wstring> m_toldSkipped; // paths, each is told once
    std::set<std::wstring> m_unkept;      // messages about files of the data folder that could not be written
    bool m_unmarked = false;              // a crash would go unnoticed
    std::uint64_t m_handedOut = 0;
    std::uint64_t m_deletions = 0;
    std::int64_t m_stillPending = 0;
    const double m_start = Seconds();
};

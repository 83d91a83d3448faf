// What the commands that take pending files do as a backup service does it: a
// watcher with its selection and index, taking and recording what it hands out,
// and an end that keeps what is still pending. One thread.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "host/ExitCode.h"
#include "host/FirstTimeRuns.h"
#include "host/LibraryMessages.h"
#include "host/PendingQueue.h"
#include "host/Selection.h"
#include "host/WatcherEvents.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>

struct ServiceOptions {
    SelectionFiles files;
    std::wstring index;
    std::wstring destination;
    bool hidden = false;
    bool record = false;
    bool overlay = false; // tell the overlay service
    double timeout = 0;   // seconds; 0: none
};

class BackupService
{
public:
    // Both must outlive the service.
    BackupService(const ServiceOptions& options, RecordWriter& writer);
    // Ends the watcher's threads.
    ~BackupService();
    BackupService(const BackupService&) = delete;
    BackupService& operator=(const BackupService&) = delete;

    // Loads the selection, opens the index and replays what the last run has left pending. Otherwise the code to end
    // with; why has been told.
    enum class LeftPending { IsReplayed, StaysForTheNextRun };
    std::optional<ExitCode> Open(LeftPending left = LeftPending::IsReplayed);
    COrbWatcher& Watcher() { return m_watcher; }
    FirstTimeRuns& Enumerations() { return m_enumerations; }

    // Hands on one pending file; false when there is none to be had now. `now`: the watcher is asked in any case.
    bool GiveOne(bool now);
    // Puts what could not be read back among what is pending, after pauses that grow, or `now`. True when there was
    // any.
    bool RetryUnreadable(bool now);
    // Passes on deletions and rescans; true when there were any.
    bool TellEvents();
    // True when there were any: failures of the library.
    bool TellMessages();

    // Ctrl-C, the time limit, or nobody who reads any more.
    std::optional<ExitCode> OutsideEnd() const;
    static bool Interrupted();

    // Stops the watcher, keeps what is pending for the next start, and tells the rest. An orderly end (ExitDone)
    // says what did not go well in between. `unreadable`: so does the caller.
    ExitCode End(ExitCode code, bool unreadable = false);

    double StartedAt() const { return m_start; }
    std::uint64_t HandedOut() const { return m_handedOut; }
    std::uint64_t Deletions() const { return m_deletions; }
    std::uint64_t Unreadable() const { return m_unreadable.size(); }
    // After the end: what was kept.
    std::int64_t StillPending() const { return m_stillPending; }

private:
    bool OpenIndex();
    std::wstring IndexFailure() const;
    bool TellDeletions();
    void Give(const QueueDatum& datum);
    void Record(const QueueDatum& datum);
    void TellUnrecorded(const wchar_t* path);
    ExitCode WithFailures(ExitCode code, bool unreadable) const;

    const ServiceOptions& m_options;
    RecordWriter& m_writer;
    COrbWatcher m_watcher{false};
    CIndexDB m_index;
    WatcherEvents m_events;
    FirstTimeRuns m_enumerations;
    std::unique_ptr<LibraryMessages> m_messages; // from the time that the selection is loaded
    PendingQueue m_queue;
    std::set<std::wstring> m_unreadable; // handed out unread, and not yet again
    double m_retryAt = 0;                // when they are tried again
    double m_retryPause = 0;             // seconds
    bool m_recordingFailed = false;
    std::uint64_t m_handedOut = 0;
    std::uint64_t m_deletions = 0;
    std::int64_t m_stillPending = 0;
    const double m_start = Seconds();
};

#include "host/WatchCommand.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/DirectoryOpener.h"
#include "host/FirstTimeRuns.h"
#include "host/LibraryMessages.h"
#include "host/WatcherEvents.h"

#include <optional>
#include <set>

namespace
{

constexpr double LongestStart = 120; // seconds
constexpr DWORD PollInterval = 50;   // milliseconds between two looks at the queue

double Seconds() { return static_cast<double>(GetTickCount64()) / 1000.0; }

bool Interrupted() { return WaitForSingleObject(InterruptEvent(), 0) == WAIT_OBJECT_0; }

bool OpenIndex(CIndexDB& index, const WatchOptions& options, RecordWriter& writer)
{
    const bool exists = GetFileAttributesW(options.index.c_str()) != INVALID_FILE_ATTRIBUTES;
    const bool writable = options.record || !exists;
    index.SetDBFilePath(options.index.c_str());
    if (index.Open(writable, 0, 0) && index.LoadCache())
        return true;
    writer.Error(L"the index cannot be used: " + std::wstring(index.GetLastDbErrorText().GetString()), options.index);
    return false;
}

// Ends the watcher's threads on every way out.
class StopScope
{
public:
    explicit StopScope(COrbWatcher& watcher) : m_watcher(watcher) {}
    ~StopScope() { m_watcher.AbortWatching(); }
    StopScope(const StopScope&) = delete;
    StopScope& operator=(const StopScope&) = delete;

private:
    COrbWatcher& m_watcher;
};

// A watcher may keep what it cannot hand out now. A queue that did not change since it had nothing to give is
// asked once a second only: each question is a line in the log.
class PendingQueue
{
public:
    explicit PendingQueue(COrbWatcher& watcher) : m_watcher(watcher) {}

    // `now`: asks in any case.
    bool Take(QueueDatum& datum, bool now)
    {
        const std::int64_t count = m_watcher.GetTotalFilesInMem();
        if (count == 0 || (!now && count == m_keptCount && Seconds() - m_askedAt < 1))
            return false;
        m_keptCount = -1;
        if (m_watcher.GetSingleNotification(nullptr, datum))
            return true;
        m_keptCount = m_watcher.GetTotalFilesInMem();
        m_askedAt = Seconds();
        return false;
    }

private:
    COrbWatcher& m_watcher;
    std::int64_t m_keptCount = -1; // after the last time that it had nothing to give
    double m_askedAt = 0;
};

std::wstring DumpPath()
{
    return std::wstring(GetMainSettings().GetDataFolderPath().GetString()) + L"\\watcher_dump.bin";
}

// One run of the watcher, from its start to its end.
class WatchRun
{
public:
    WatchRun(COrbWatcher& watcher, WatcherEvents& events, FirstTimeRuns& enumerations, CIndexDB& index,
             const WatchOptions& options, RecordWriter& writer)
        : m_watcher(watcher),
          m_events(events),
          m_enumerations(enumerations),
          m_index(index),
          m_options(options),
          m_writer(writer),
          m_selection(options.files),
          m_opener(m_selection.IncludedFolders(), Interrupted)
    {
    }

    ExitCode Run()
    {
        const std::optional<ExitCode> early = WaitUntilReady();
        ExitCode code = WithFailures(early ? *early : HandOut());
        m_watcher.AbortWatching();
        m_opener.Close();
        const std::int64_t pending = m_watcher.GetTotalFilesInMem();
        m_watcher.DeInit();
        TellEvents();
        TellMessages();
        if (!m_watcher.IsPendingKept()) {
            m_writer.Error(L"what is pending could not be kept for the next start", DumpPath());
            code = ExitFailure;
        }
        m_writer.Summary(m_handedOut, pending, code);
        return m_writer.Good() ? code : ExitFailure;
    }

private:
    std::optional<ExitCode> WaitUntilReady()
    {
        while (!m_watcher.WaitUntilReady(PollInterval)) {
            if (const std::optional<ExitCode> end = OutsideEnd())
                return end;
            if (Seconds() - m_start > LongestStart) {
                m_writer.Error(L"the watcher did not start");
                return ExitFailure;
            }
        }
        const std::vector<CString> roots = m_watcher.GetWatchedRoots();
        m_opener.Open(roots);
        m_selection.TellWhatIsNotWatched(roots, m_writer);
        m_writer.Ready(roots);
        m_last = Seconds();
        if (m_options.enumerate)
            m_enumerations.Start();
        return std::nullopt;
    }

    ExitCode HandOut()
    {
        PendingQueue queue(m_watcher);
        for (QueueDatum datum;;) {
            if (const std::optional<ExitCode> end = OutsideEnd())
                return *end;
            const bool quiet = IsQuiet();
            if (m_options.collect) {
                TellCount();
            } else if (queue.Take(datum, quiet)) {
                Give(datum);
                if (m_options.maxEvents != 0 && m_handedOut >= m_options.maxEvents)
                    return ExitDone;
                // A long queue keeps nobody from the drives that come meanwhile.
                if (Seconds() - m_followedAt > 1)
                    FollowRoots();
                TellEvents();
                continue;
            }
            TellEvents();
            FollowRoots();
            TellMessages();
            if (quiet && IsQuiet())
                return ExitDone;
            WaitForSingleObject(InterruptEvent(), PollInterval);
        }
    }

    void TellCount()
    {
        const std::int64_t count = m_watcher.GetTotalFilesInMem();
        if (count == m_toldCount)
            return;
        m_toldCount = count;
        m_writer.Collected(count);
        m_last = Seconds();
    }

    bool IsQuiet() const { return m_options.untilQuiet > 0 && Seconds() - m_last >= m_options.untilQuiet; }

    void FollowRoots()
    {
        m_followedAt = Seconds();
        const std::vector<CString> roots = m_watcher.GetWatchedRoots();
        if (!m_opener.Open(roots))
            return;
        m_selection.TellWhatIsNotWatched(roots, m_writer);
        m_writer.Roots(roots);
        m_last = Seconds();
    }

    void TellEvents()
    {
        TellDeletions();
        for (const WatcherEvents::Rescan& rescan : m_events.TakeRescans()) {
            m_writer.Rescan(rescan.root, rescan.reason);
            m_last = Seconds();
        }
        if (m_enumerations.Follow())
            m_last = Seconds();
    }

    // A service that has dealt with a deletion forgets the item: a file that returns is a new one.
    void TellDeletions()
    {
        for (const DeletionRecord& record : m_events.TakeDeletions()) {
            m_writer.Deleted(record);
            m_last = Seconds();
            if (m_options.record && !m_index.ForgetItem(record.path))
                TellUnrecorded(record.path.GetString());
        }
    }

    void TellMessages()
    {
        for (const LibraryMessages::Line& line : m_messages.Take())
            m_writer.Note(line.text);
    }

    // Ctrl-C, the time limit, or nobody who reads any more.
    std::optional<ExitCode> OutsideEnd() const
    {
        if (Interrupted())
            return ExitInterrupted;
        if (m_options.timeout > 0 && Seconds() - m_start >= m_options.timeout)
            return ExitTimeLimit;
        if (!m_writer.Good())
            return ExitFailure;
        return std::nullopt;
    }

    // An orderly end says what did not go well in between.
    ExitCode WithFailures(ExitCode code) const
    {
        if (code != ExitDone)
            return code;
        if (m_recordingFailed)
            return ExitFailure;
        return m_unreadable.empty() ? ExitDone : ExitSomeUnreadable;
    }

    void Give(const QueueDatum& datum)
    {
        m_writer.Pending(datum);
        // Nobody has received it: it goes on waiting.
        if (!m_writer.Good()) {
            m_watcher.AddSingleNotification(datum.path);
            return;
        }
        ++m_handedOut;
        m_last = Seconds();
        // What could not be read could not be copied either: it stays new, and is backed up again rather than never.
        if (datum.modificationTime < 0) {
            m_unreadable.insert(datum.path);
            m_writer.Note(L"cannot be read now", datum.path);
            return;
        }
        m_unreadable.erase(datum.path);
        if (m_options.record)
            Record(datum);
    }

    void Record(const QueueDatum& datum)
    {
        ItemDatum item;
        item.path = datum.path;
        item.kind = datum.flags & QueueFlags::Directory ? 1 : 0;
        item.flags = item.kind ? CachedDatum::Folder : 0;
        item.modificationTime = static_cast<std::uint64_t>(datum.modificationTime);
        if (!m_index.RecordItem(item))
            TellUnrecorded(datum.path);
    }

    void TellUnrecorded(const wchar_t* path)
    {
        m_recordingFailed = true;
        m_writer.Error(L"cannot be recorded in the index: " + std::wstring(m_index.GetLastDbErrorText().GetString()),
                       path);
    }

    COrbWatcher& m_watcher;
    WatcherEvents& m_events;
    FirstTimeRuns& m_enumerations;
    CIndexDB& m_index;
    const WatchOptions& m_options;
    RecordWriter& m_writer;
    SelectionView m_selection;
    DirectoryOpener m_opener;
    LibraryMessages m_messages{LibraryMessages::Keep::Failures};
    std::set<std::wstring> m_unreadable; // handed out unread, and not yet again
    bool m_recordingFailed = false;
    std::uint64_t m_handedOut = 0;
    std::int64_t m_toldCount = 0;
    const double m_start = Seconds();
    double m_last = m_start;
    double m_followedAt = 0;
};

} // namespace

ExitCode RunWatch(const WatchOptions& options, RecordWriter& writer)
{
    InterruptEvent();
    COrbWatcher watcher(false);
    watcher.Init();
    if (!LoadSelection(watcher, options.files, writer))
        return ExitUsage;
    CIndexDB index;
    if (!OpenIndex(index, options, writer))
        return ExitFailure;
    watcher.SetIndexDB(options.index.c_str());
    watcher.SetDestBackupFolderDB(options.destination.c_str());
    watcher.EnableBackupHiddenFiles(options.hidden);
    WatcherEvents events(watcher);
    FirstTimeRuns enumerations(watcher);
    watcher.Resume();
    const StopScope stop(watcher);
    watcher.StartWatch();
    return WatchRun(watcher, events, enumerations, index, options, writer).Run();
}

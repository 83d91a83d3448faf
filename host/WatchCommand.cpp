#include "host/WatchCommand.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "host/Console.h"
#include "host/DirectoryOpener.h"

#include <optional>

namespace
{

constexpr DWORD PollInterval = 50; // milliseconds between two looks at an empty queue

double Seconds() { return static_cast<double>(GetTickCount64()) / 1000.0; }

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

// One run of the watcher, from its start to its end.
class WatchRun
{
public:
    WatchRun(const WatchOptions& options, RecordWriter& writer)
        : m_options(options),
          m_writer(writer),
          m_opener(IncludedFolders(options.files))
    {
    }

    ExitCode Run(COrbWatcher& watcher, CIndexDB& index)
    {
        const std::optional<ExitCode> early = WaitUntilReady(watcher);
        ExitCode code = early ? *early : HandOut(watcher, index);
        watcher.AbortWatching();
        m_writer.Summary(m_handedOut, watcher.GetTotalFilesInMem(), code);
        watcher.DeInit();
        return m_writer.Good() ? code : ExitFailure;
    }

private:
    std::optional<ExitCode> WaitUntilReady(COrbWatcher& watcher)
    {
        while (!watcher.WaitUntilReady(PollInterval))
            if (const std::optional<ExitCode> end = OutsideEnd())
                return end;
        const std::vector<CString> roots = watcher.GetWatchedRoots();
        m_opener.Open(roots);
        m_writer.Ready(roots);
        TellWhatIsNotWatched(m_options.files, roots, m_writer);
        m_last = Seconds();
        return std::nullopt;
    }

    ExitCode HandOut(COrbWatcher& watcher, CIndexDB& index)
    {
        for (;;) {
            if (const std::optional<ExitCode> end = OutsideEnd())
                return *end;
            QueueDatum datum;
            // An empty queue is not asked: each question is a line in the log.
            if (watcher.GetTotalFilesInMem() > 0 && watcher.GetSingleNotification(nullptr, datum)) {
                Give(datum, index);
                if (m_options.maxEvents != 0 && m_handedOut >= m_options.maxEvents)
                    return ExitDone;
                continue;
            }
            FollowRoots(watcher);
            if (m_options.untilQuiet > 0 && Seconds() - m_last >= m_options.untilQuiet)
                return ExitDone;
            WaitForSingleObject(InterruptEvent(), PollInterval);
        }
    }

    void FollowRoots(COrbWatcher& watcher)
    {
        const std::vector<CString> roots = watcher.GetWatchedRoots();
        if (!m_opener.Open(roots))
            return;
        m_writer.Roots(roots);
        m_last = Seconds();
    }

    // Ctrl-C, the time limit, or nobody who reads any more.
    std::optional<ExitCode> OutsideEnd() const
    {
        if (WaitForSingleObject(InterruptEvent(), 0) == WAIT_OBJECT_0)
            return ExitInterrupted;
        if (m_options.timeout > 0 && Seconds() - m_start >= m_options.timeout)
            return ExitTimeLimit;
        if (!m_writer.Good())
            return ExitFailure;
        return std::nullopt;
    }

    void Give(const QueueDatum& datum, CIndexDB& index)
    {
        m_writer.Pending(datum);
        ++m_handedOut;
        m_last = Seconds();
        // A file whose time could not be read stays new: it is backed up again rather than never.
        if (!m_options.record || datum.modificationTime < 0)
            return;
        ItemDatum item;
        item.path = datum.path;
        item.kind = datum.flags & QueueFlags::Directory ? 1 : 0;
        item.modificationTime = static_cast<std::uint64_t>(datum.modificationTime);
        if (!index.RecordItem(item))
            m_writer.Error(L"could not be recorded in the index: " +
                               std::wstring(index.GetLastDbErrorText().GetString()),
                           datum.path);
    }

    const WatchOptions& m_options;
    RecordWriter& m_writer;
    DirectoryOpener m_opener;
    std::uint64_t m_handedOut = 0;
    const double m_start = Seconds();
    double m_last = m_start;
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
    watcher.Resume();
    watcher.StartWatch();
    return WatchRun(options, writer).Run(watcher, index);
}

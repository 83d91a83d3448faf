#include "host/BackupService.h"

#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/records/FileRecords.h"
#include "support/Backslash.h"
#include "support/SystemPath.h"

#include <algorithm>

namespace
{

constexpr double FirstRetryPause = 5, LongestRetryPause = 300; // seconds

// An item that has returned may have been recorded anew by now.
bool IsStillDeleted(const DeletionRecord& record)
{
    CachedDatum datum;
    return CIndexDB::GetCachedData(record.id, datum) && (datum.flags & CachedDatum::NoDeleteRecord);
}

bool Exists(const CString& path) { return GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES; }

// Returns false when the drive is away: the file may return with it.
bool IsGone(const std::wstring& path)
{
    if (Exists(path.c_str()))
        return false;
    const DWORD error = GetLastError();
    return (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) &&
           Exists(WithBackslash(OrbFilter::StripToRoot(path.c_str())));
}

} // namespace

BackupService::BackupService(const ServiceOptions& options, RecordWriter& writer)
    : m_options(options),
      m_writer(writer),
      m_index(options, writer),
      m_events(m_watcher),
      m_enumerations(m_watcher),
      m_queue(m_watcher)
{
    InterruptEvent();
    m_watcher.Init();
}

BackupService::~BackupService() { m_watcher.AbortWatching(); }

std::optional<ExitCode> BackupService::Open(LeftPending left)
{
    const SelectionState state = LoadSelection(m_watcher, m_options.files, m_writer);
    if (state == SelectionState::Unusable)
        return ExitUsage;
    m_selectionPartly = state == SelectionState::Partly;
    if (!UseFolder())
        return ExitUsage;
    m_messages = std::make_unique<LibraryMessages>(LibraryMessages::Keep::Failures);
    if (!m_index.Open())
        return ExitFailure;
    m_index.PrepareEnumeration();
    m_watcher.SetIndexDB(m_options.index.c_str());
    m_watcher.SetDestBackupFolderDB(FullPath(m_options.destination).c_str());
    for (const std::wstring& path : m_output.Paths())
        KeepOwnFileOut(path, L"output");
    m_watcher.EnableBackupHiddenFiles(m_options.hidden);
    m_watcher.SetOverlay(m_options.overlay);
    if (left == LeftPending::IsReplayed)
        m_watcher.Resume();
    if (left == LeftPending::IsReplayed)
        TellUnmarked();
    return std::nullopt;
}

// Checked again after other commands are excluded: one of them may have taken the folder over.
bool BackupService::UseFolder()
{
    const FolderUse use = m_options.Use();
    const auto foreign = [&] { return !m_options.takeOver && TellForeignFolder(use, m_options.mayTakeOver, m_writer); };
    return !foreign() && m_use.Take(m_options.command, use, m_writer) && !foreign() && TakeOver();
}

bool BackupService::TakeOver()
{
    if (!m_options.takeOver || ForeignFolder(m_options.Use()).empty() || TakeOverFolder(m_options.Use()))
        return true;
    m_writer.Error(L"the data folder cannot be taken over, its settings cannot be written; the log says why",
                   GetMainSettings().GetDataFolderPath().GetString());
    return false;
}

void BackupService::TellUnmarked()
{
    if (m_unmarked || m_watcher.IsCrashNoticed())
        return;
    m_unmarked = true;
    m_writer.Error(L"no running mark can be made in the data folder: if this run is killed, what is pending is lost. "
                   L"Can this account write there?",
                   GetMainSettings().GetDataFolderPath().GetString());
}

bool BackupService::TellDueEnumeration()
{
    TellMessages(); // the library says what it found lost or damaged
    if (!FirstTimeRuns::IsDue())
        return false;
    m_index.TellWhyDue();
    return true;
}

void BackupService::KeepOwnFileOut(const std::wstring& path, const std::wstring& what)
{
    if (std::ranges::find(m_ownFiles, path) != m_ownFiles.end())
        return;
    const PathExplanation explained = m_watcher.Explain(OrbFilter::SystemForm(path.c_str()));
    if (explained.decision == Included)
        m_writer.Note(L"this command's " + what +
                          L" goes to a file of the selection; the file is never backed up while the command runs",
                      explained.path.GetString());
    m_ownFiles.push_back(path);
    m_watcher.SetOwnFiles({m_ownFiles.begin(), m_ownFiles.end()});
}

bool BackupService::GiveOne(bool now)
{
    QueueDatum datum;
    FileIdentity identity;
    const bool taken = m_queue.Take(datum, identity, now);
    // The batch is committed as soon as nothing more comes.
    if (!taken || m_index.IsCommitDue())
        CommitRecords();
    if (taken)
        Give(datum, identity);
    return taken;
}

void BackupService::Give(const QueueDatum& datum, const FileIdentity& identity)
{
    // The system does not always know the path of the file that the output goes to.
    if (m_output.Contains(datum.path, identity))
        return KeepOwnFileOut(datum.path, L"output");
    // Reported twice, and unchanged since its hand-out: the index does not know it yet.
    if (m_index.IsToRecord(datum))
        return;
    // An item that returned during its deletion must be forgotten before it is recorded anew, not after.
    TellDeletions();
    m_writer.Write(PendingRecord{datum});
    // No program received the file: it becomes pending again.
    if (!m_writer.Good()) {
        m_watcher.AddSingleNotification(datum.path);
        return;
    }
    ++m_handedOut;
    // A file that could not be read could not be copied either: it stays new, and is backed up again rather than never.
    if (datum.modificationTime < 0) {
        if (m_unreadable.insert(datum.path).second)
            m_retryPause = 0;
        m_writer.Note(L"cannot be read now; it stays new for the next enumeration", datum.path);
        return;
    }
    m_unreadable.erase(datum.path);
    if (m_options.record)
        m_index.Record(datum);
}

// The system reports no change when a program closes a file that it had open for itself alone.
bool BackupService::RetryUnreadable(bool now)
{
    if (m_unreadable.empty()) {
        m_retryPause = 0;
        return false;
    }
    if (m_retryPause == 0) {
        m_retryPause = FirstRetryPause;
        m_retryAt = Seconds() + m_retryPause;
    }
    if (!now && Seconds() < m_retryAt)
        return false;
    m_retryPause = std::min(m_retryPause * 2, LongestRetryPause);
    m_retryAt = Seconds() + m_retryPause;
    std::erase_if(m_unreadable, IsGone);
    for (const std::wstring& path : m_unreadable)
        m_watcher.AddSingleNotification(path.c_str());
    return !m_unreadable.empty();
}

void BackupService::CommitRecords()
{
    if (const std::vector<CString> recorded = m_index.Commit(); !recorded.empty())
        m_watcher.LookAgainAfterRecording(recorded);
}

bool BackupService::TellEvents()
{
    bool any = TellDeletions();
    for (const WatcherEvents::Rescan& rescan : m_events.TakeRescans()) {
        m_writer.Write(RescanRecord{rescan.root, rescan.reason});
        any = true;
    }
    return TellSkipped() || any;
}

bool BackupService::TellSkipped()
{
    const SkippedPaths skipped = m_watcher.TakeSkippedPaths();
    for (const PassedOverPath& path : skipped.paths)
        TellSkipped(path);
    if (skipped.more != 0)
        m_writer.Note(L"the enumeration skipped more than it names: " + std::to_wstring(skipped.more));
    return !skipped.paths.empty();
}

void BackupService::TellSkipped(const PassedOverPath& path)
{
    constexpr std::size_t mostKept = 10000;
    m_skipped = true;
    if (m_toldSkipped.size() >= mostKept)
        m_toldSkipped.clear();
    if (m_toldSkipped.insert(path.path.GetString()).second)
        m_writer.Write(SkippedRecord{path});
}

// A service that has dealt with a deletion forgets the item: a file that returns is a new one.
bool BackupService::TellDeletions()
{
    const std::vector<DeletionRecord> deletions = m_events.TakeDeletions();
    if (!deletions.empty())
        CommitRecords(); // what was handed out before a deletion is recorded before it
    m_deletions += deletions.size();
    std::vector<CString> deleted;
    for (const DeletionRecord& record : deletions) {
        m_writer.Write(DeletedRecord{record});
        if (m_options.record && IsStillDeleted(record))
            deleted.push_back(record.path);
    }
    m_index.Forget(deleted);
    return !deletions.empty();
}

bool BackupService::TellMessages()
{
    const std::vector<LibraryMessages::Line> lines = m_messages->Take();
    // The selection may have been read again since.
    TellFindings(m_watcher.TakeSelectionFindings(), m_options.files, UnreadFiles::AreNotes, m_writer);
    for (const LibraryMessages::Line& line : lines) {
        if (line.finding)
            continue;
        if (const std::wstring refused = RefusedNameIn(line.text); !refused.empty())
            TellSkipped({refused.c_str(), PathOutcome::Unreadable});
        else if (TellsOfUnkept(line.text))
            TellUnkept(line.text);
        else if (!IsToldByRecord(line.text))
            m_writer.Note(line.text);
        m_skipped = m_skipped || TellsOfLeftOut(line.text);
    }
    return std::any_of(lines.begin(), lines.end(), [](const LibraryMessages::Line& line) { return !line.finding; });
}

// Each save tries again.
void BackupService::TellUnkept(const std::wstring& message)
{
    if (m_unkept.insert(message).second)
        m_writer.Note(message);
}

std::optional<ExitCode> BackupService::OutsideEnd() const
{
    if (WaitForSingleObject(InterruptEvent(), 0) == WAIT_OBJECT_0)
        return ExitInterrupted;
    if (m_options.timeout > 0 && Seconds() - m_start >= m_options.timeout)
        return ExitTimeLimit;
    if (!m_writer.Good())
        return ExitFailure;
    return std::nullopt;
}

ExitCode BackupService::End(ExitCode code, bool unreadable)
{
    // The contents of these files were not read: they are pending for the next start.
    RetryUnreadable(true);
    CommitRecords();
    TellUnmarked();
    m_watcher.AbortWatching();
    m_stillPending = m_watcher.GetTotalFilesInMem();
    m_watcher.DeInit();
    TellEvents();
    TellMessages();
    if (!m_watcher.IsPendingKept()) {
        m_writer.Error(L"what is pending could not be kept; the next start looks at everything again. Is there room?",
                       std::wstring(GetMainSettings().GetDataFolderPath().GetString()) + L"\\watcher_dump.bin");
        return ExitFailure;
    }
    return WithFailures(code, unreadable);
}

ExitCode BackupService::WithFailures(ExitCode code, bool unreadable) const
{
    if (code != ExitDone)
        return code;
    if (m_index.HasFailed())
        return ExitFailure;
    return m_unreadable.empty() && !m_skipped && !unreadable && !m_unmarked && m_unkept.empty() ? ExitDone
                                                                                                : ExitSomeUnreadable;
}

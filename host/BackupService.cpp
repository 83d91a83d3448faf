#include "host/BackupService.h"

#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/records/FileRecords.h"

BackupService::BackupService(const ServiceOptions& options, RecordWriter& writer) : m_options(options), m_writer(writer)
{
    InterruptEvent();
    m_watcher.Init();
}

std::optional<ExitCode> BackupService::Open(LeftPending left)
{
    const SelectionState state = LoadSelection(m_watcher, m_options.files, m_writer);
    if (state == SelectionState::Unusable)
        return ExitUsage;
    m_selectionPartly = state == SelectionState::Partly;
    if (!m_use.Take(m_options, m_writer))
        return ExitUsage;
    m_reports.Begin();
    if (!m_index.Open())
        return ExitFailure;
    m_index.PrepareEnumeration();
    m_watcher.SetIndexDB(m_options.index.c_str());
    m_watcher.SetDestBackupFolderDB(FullPath(m_options.destination).c_str());
    m_handOut.Written().KeepOutputOut();
    m_watcher.EnableBackupHiddenFiles(m_options.hidden);
    m_watcher.SetOverlay(m_options.overlay);
    if (left == LeftPending::IsReplayed) {
        m_watcher.Resume();
        m_reports.TellUnmarked();
    }
    return std::nullopt;
}

bool BackupService::TellDueEnumeration()
{
    TellMessages(); // the library says what it found lost or damaged
    if (!FirstTimeRuns::IsDue())
        return false;
    m_index.TellWhyDue();
    return true;
}

bool BackupService::TellEvents()
{
    const bool any = m_handOut.TellDeletions();
    return m_reports.TellEvents() || any;
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
    m_handOut.RetryUnreadable(true);
    m_handOut.Commit();
    m_reports.TellUnmarked();
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
    return m_handOut.Unreadable() == 0 && m_reports.IsAllWell() && !unreadable ? ExitDone : ExitSomeUnreadable;
}

#include "orbwatcher4/core/rescan/FoundFiles.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/SystemNames.h"
#include "support/Backslash.h"

bool FoundFiles::GoOn()
{
    if (const DWORD pause = m_pause)
        Sleep(pause);
    if (!m.stop.IsSet())
        return true;
    constexpr int progressLine = 2198;
    g_OrbLog.WriteLog(1, L"OrbWatcher", progressLine, L"Used Aborted, stop enumeration");
    return false;
}

void FoundFiles::TakeNamed(const wchar_t* path)
{
    const PathOutcome outcome = Take(path, std::nullopt);
    // Only paths that rules name come here. A folder in the place of the file is not selected by its rule.
    if (outcome == PathOutcome::Missing || outcome == PathOutcome::NotSelected)
        m_skipped.Add(path, PathOutcome::Missing);
    else if (outcome == PathOutcome::Unreadable || outcome == PathOutcome::TooLong)
        m_skipped.Add(path, outcome);
    m_tally.CountFile(outcome);
}

PathOutcome FoundFiles::Take(const wchar_t* path, std::optional<FileFacts> known)
{
    const NotificationPtr pending = m.pending.Find(path);
    PathOutcome outcome = PathOutcome::Waiting;
    if (!pending || pending->kind == NotificationKind::Deleted)
        outcome = m.handler.ProcessChangedFile(path, Arrival::Found, known);
    // A walk may report files that are gone since they were listed, and rules may name files that do not exist.
    if (outcome == PathOutcome::Unchanged || (m_unmet.Contains(path) && !m.selection.IsGone(path)))
        if (m_unmet.Remove(path))
            m.due.Found(WithoutBackslash(path));
    if (outcome == PathOutcome::Unreadable && MayBeOpened(path)) // otherwise it was said already
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s cannot be looked at", path);
    return outcome;
}

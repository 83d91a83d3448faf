#include "orbwatcher4/core/rescan/EnumerationWalk.h"

#include "orbwatcher4/core/selection/Classify.h"
#include "support/Backslash.h"

#include <utility>

void EnumerationWalk::FileFoundCallback(const wchar_t* path, unsigned __int64)
{
    m_found.Tally().CountFile(NamedIfSkipped(path, m_found.Take(path, TakeListed())));
}

void EnumerationWalk::FolderFoundCallback(const wchar_t* path)
{
    m_found.Tally().CountFolder(NamedIfSkipped(path, m_found.Take(path, TakeListed())));
}

void EnumerationWalk::Entering(const CString& folder)
{
    m_folder.Enter(folder);
    m_found.Tally().SetFolder(folder);
}

// A refused folder makes nothing due. A passing error makes another enumeration due, once.
void EnumerationWalk::ListRead(const CString& folder, std::uint32_t error)
{
    if (error == ERROR_SUCCESS)
        m.due.Found(WithoutBackslash(folder));
    else if (error != ERROR_ACCESS_DENIED)
        m.due.MakeFullOnceFor(WithoutBackslash(folder));
}

// A file that vanishes during the walk is no gap, but a path that a rule names may be misspelled.
void EnumerationWalk::SelectedMissing(const CString& path) { m_found.Skipped().Add(path, PathOutcome::Missing); }

void EnumerationWalk::PassedOver(const CString& path, PathOutcome why)
{
    NamedIfSkipped(path, why);
    if (why == PathOutcome::Missing || why == PathOutcome::Unreadable)
        return m_found.Tally().CountBeside(why);
    // A walk does not report whose exclusion it is.
    const bool excluded = why == PathOutcome::Excluded;
    m_found.Tally().CountFolder(excluded ? RefusalOf(Classify(m.selection, path)) : why);
}

// Names a path that could not be examined. Returns its outcome.
PathOutcome EnumerationWalk::NamedIfSkipped(const CString& path, PathOutcome outcome)
{
    if (outcome == PathOutcome::Unreadable || outcome == PathOutcome::TooLong)
        m_found.Skipped().Add(path, outcome);
    return outcome;
}

// Returns what the list shows of the last item; nothing when that is too old.
std::optional<FileFacts> EnumerationWalk::TakeListed()
{
    const std::optional<FileFacts> listed = std::exchange(m_listed, std::nullopt);
    return m_folder.IsRecent() ? listed : std::nullopt;
}

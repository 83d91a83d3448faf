#include "orbwatcher4/core/rescan/EnumerationTally.h"

void EnumerationTally::Restart()
{
    m_files = 0;
    m_folders = 0;
    for (Counter& outcome : m_outcomes)
        outcome = 0;
    SetFolder({});
}

void EnumerationTally::CountFile(PathOutcome outcome)
{
    if (outcome != PathOutcome::Missing)
        ++m_files;
    CountBeside(outcome);
}

void EnumerationTally::CountFolder(PathOutcome outcome)
{
    if (outcome != PathOutcome::Missing)
        ++m_folders;
    CountBeside(outcome);
}

void EnumerationTally::CountBeside(PathOutcome outcome) { ++m_outcomes[static_cast<std::size_t>(outcome)]; }

void EnumerationTally::SetFolder(const CString& folder)
{
    const CSingleLock lock(m_lock);
    m_folder = folder;
}

EnumerationProgress EnumerationTally::Read() const
{
    EnumerationProgress progress;
    progress.files = m_files;
    progress.folders = m_folders;
    for (std::size_t i = 0; i < PathOutcomes; ++i)
        progress.outcomes[i] = m_outcomes[i];
    const CSingleLock lock(m_lock);
    progress.folder = m_folder;
    return progress;
}

#include "orbwatcher4/estimator/ScanTally.h"

void ScanTally::CountFile(unsigned __int64 size)
{
    ++m_files;
    m_bytes += size;
}

void ScanTally::Entering(const CString& folder)
{
    ++m_folders;
    const CSingleLock lock(m_lock);
    m_folder = folder;
    // It can be read now; if not, the walk reports it again.
    m_passedOver.erase(folder);
}

void ScanTally::PassedOver(const CString& path, PathOutcome why)
{
    const CSingleLock lock(m_lock);
    m_passedOver[path] = why;
}

void ScanTally::BeginDrives(int drives)
{
    m_drives = drives;
    m_drivesDone = 0;
}

ScanProgress ScanTally::Read() const
{
    ScanProgress progress;
    progress.files = m_files;
    progress.bytes = m_bytes;
    progress.folders = m_folders;
    progress.drives = m_drives;
    progress.drivesDone = m_drivesDone;
    const CSingleLock lock(m_lock);
    progress.folder = m_folder;
    return progress;
}

std::vector<PassedOverPath> ScanTally::ReadPassedOver() const
{
    const CSingleLock lock(m_lock);
    std::vector<PassedOverPath> paths;
    paths.reserve(m_passedOver.size());
    for (const auto& [path, why] : m_passedOver)
        paths.push_back({path, why});
    return paths;
}

#include "orbwatcher4/core/rescan/SkippedPaths.h"

#include <utility>

void SkippedPathsList::Restart()
{
    const CSingleLock lock(m_lock);
    m_named.clear();
    m_waiting = {};
}

void SkippedPathsList::Add(const CString& path, PathOutcome why)
{
    const CSingleLock lock(m_lock);
    if (m_named.contains(path))
        return;
    if (m_named.size() >= MostNamed) {
        ++m_waiting.more;
        return;
    }
    m_named.insert(path);
    m_waiting.paths.push_back({path, why});
}

SkippedPaths SkippedPathsList::Take()
{
    const CSingleLock lock(m_lock);
    return std::exchange(m_waiting, {});
}

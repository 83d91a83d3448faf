#include "orbwatcher4/core/selection/RequestedRoots.h"

#include "orbwatcher4/OrbFilter.h"

#include <utility>

void RequestedRoots::Request(const wchar_t* path)
{
    const CSingleLock lock(m_lock);
    if (m_roots.insert(OrbFilter::StripToRoot(path)).second)
        m_any = true;
}

void RequestedRoots::NoteOtherRules()
{
    if (!m_watching)
        return;
    const CSingleLock lock(m_lock);
    m_any = true;
}

std::set<CString> RequestedRoots::Take()
{
    const CSingleLock lock(m_lock);
    m_any = false;
    return std::exchange(m_roots, {});
}

void RequestedRoots::GiveBack(std::set<CString>::node_type root)
{
    const CSingleLock lock(m_lock);
    if (root)
        m_roots.insert(std::move(root));
    m_any = true;
}

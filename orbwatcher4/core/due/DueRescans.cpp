#include "orbwatcher4/core/due/DueRescans.h"

#include <algorithm>

void DueRescans::Report(const CString& root, const char* reason, std::int64_t now)
{
    const CSingleLock lock(m_section);
    const auto [place, isNew] = m_rescans.try_emplace(root, Rescan{now, now, reason});
    if (!isNew)
        place->second.last = now;
}

std::vector<CString> DueRescans::Ready(std::int64_t now)
{
    std::vector<CString> ready;
    const CSingleLock lock(m_section);
    for (auto& [root, rescan] : m_rescans) {
        rescan.last = std::min(rescan.last, now);
        rescan.first = std::min(rescan.first, now);
        if (now > rescan.last + QuietSeconds || now >= rescan.first + LongestWait)
            ready.push_back(root);
    }
    return ready;
}

DueRescans::Rescans::node_type DueRescans::Take(const CString& root)
{
    const CSingleLock lock(m_section);
    return m_rescans.extract(root);
}

void DueRescans::GiveBack(const CString& root, Rescans::node_type rescan, const char* reason, std::int64_t now)
{
    const CSingleLock lock(m_section);
    if (!rescan) {
        m_rescans.try_emplace(root, Rescan{now, now, reason});
        return;
    }
    const Rescan before = rescan.mapped();
    // It was reported again meanwhile, and is due since the earlier report.
    if (const auto result = m_rescans.insert(std::move(rescan)); !result.inserted)
        result.position->second.first = before.first;
}

std::optional<DueRescans::Rescan> DueRescans::Find(const CString& root) const
{
    const CSingleLock lock(m_section);
    const auto found = m_rescans.find(root);
    return found == m_rescans.end() ? std::nullopt : std::optional<Rescan>(found->second);
}

DueRescans::Removed DueRescans::RemoveAll(const std::function<bool(const CString& root)>& chosen)
{
    Removed removed;
    const CSingleLock lock(m_section);
    for (const auto& [root, rescan] : m_rescans) {
        if (chosen(root))
            removed.roots.insert(root);
        else
            removed.all = false;
    }
    m_rescans.clear();
    return removed;
}

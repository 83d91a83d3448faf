#include "orbwatcher4/core/overlay/UnsentStatuses.h"

#include "OrbFileMonitorService/OverlayBlock.h"

#include <algorithm>

// The first modification sets one bit. The second one sets another, and more than two are as two.
std::int32_t UnsentStatuses::Entry::WithModifications(std::int32_t from) const
{
    for (int i = 0; i < modifications; ++i) {
        if (from & OverlayStatus::FirstBit)
            from |= OverlayStatus::SecondBit;
        from |= OverlayStatus::FirstBit;
    }
    return from;
}

bool UnsentStatuses::Set(const CString& path, std::int32_t status)
{
    Entry& entry = Of(path);
    entry.status = status;
    entry.modifications = 0;
    return DropOverflow();
}

bool UnsentStatuses::AddModification(const CString& path)
{
    Entry& entry = Of(path);
    entry.modifications = std::min(entry.modifications + 1, 2);
    return DropOverflow();
}

std::optional<UnsentStatuses::Entry> UnsentStatuses::Take()
{
    if (m_entries.empty())
        return std::nullopt;
    m_byPath.erase(m_entries.front().path.View());
    Entry oldest = std::move(m_entries.front());
    m_entries.pop_front();
    return oldest;
}

void UnsentStatuses::Clear()
{
    m_byPath.clear();
    m_entries.clear();
}

UnsentStatuses::Entry& UnsentStatuses::Of(const CString& path)
{
    if (const auto known = m_byPath.find(path.View()); known != m_byPath.end())
        return *known->second;
    m_entries.push_back({path, std::nullopt, 0});
    try {
        m_byPath.emplace(m_entries.back().path.View(), std::prev(m_entries.end()));
    } catch (...) {
        m_entries.pop_back();
        throw;
    }
    return m_entries.back();
}

bool UnsentStatuses::DropOverflow()
{
    if (m_entries.size() <= Most)
        return true;
    Take();
    return false;
}

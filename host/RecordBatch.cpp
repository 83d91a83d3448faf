#include "host/RecordBatch.h"

#include <utility>

void RecordBatch::Add(const ItemDatum& item, double now)
{
    if (m_items.empty())
        m_since = now;
    m_items.insert_or_assign(item.path.GetString(), item);
}

bool RecordBatch::Holds(const std::wstring& path, std::uint64_t modificationTime) const
{
    const auto found = m_items.find(path);
    return found != m_items.end() && found->second.modificationTime == modificationTime;
}

bool RecordBatch::IsDue(double now) const
{
    return !m_items.empty() && (m_items.size() >= MostItems || now - m_since >= LongestDelay);
}

RecordBatch::Committed RecordBatch::Commit(CIndexDB& index)
{
    std::vector<ItemDatum> items;
    Committed committed;
    for (auto& [path, item] : std::exchange(m_items, {})) {
        committed.recorded.push_back(item.path);
        items.push_back(std::move(item));
    }
    if (items.empty() || index.RecordItems(items))
        return committed;
    committed.recorded.clear();
    for (const ItemDatum& item : items)
        if (index.RecordItem(item))
            committed.recorded.push_back(item.path);
        else
            committed.failures.push_back({item.path, index.GetLastDbError(), index.GetLastDbErrorText()});
    return committed;
}

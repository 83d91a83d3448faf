#include "orbwatcher4/core/NotificationStore.h"

namespace
{

const CString& EmptyKey()
{
    static const CString key;
    return key;
}

const CString& DeletedKey()
{
    static const CString key(L"?");
    return key;
}

} // namespace

NotificationStore::NotificationStore()
{
    m_table.set_empty_key(EmptyKey());
    m_table.set_deleted_key(DeletedKey());
}

void NotificationStore::Count() { m_counters.end = m_counters.begin + m_table.size(); }

NotificationPtr NotificationStore::Find(const CString& path) const
{
    if (path == EmptyKey() || path == DeletedKey())
        return nullptr;
    const auto found = m_table.find(path);
    return found == m_table.end() ? nullptr : found->second;
}

bool NotificationStore::Put(const CString& path, NotificationPtr notification)
{
    if (path == EmptyKey() || path == DeletedKey())
        return false;
    // Looked for first: inserting may move every entry, also where the key is there already.
    if (const auto found = m_table.find(path); found != m_table.end()) {
        found->second = std::move(notification);
        return true;
    }
    m_table.insert({path, std::move(notification)});
    ++m_insertions;
    Count();
    return true;
}

bool NotificationStore::Erase(const CString& path)
{
    if (path == EmptyKey() || path == DeletedKey() || m_table.erase(path) == 0)
        return false;
    Count();
    return true;
}

void NotificationStore::Clear()
{
    EmptyTable(m_table);
    m_cursor = 0;
    m_left = 0;
    Count();
}

void NotificationStore::Shrink()
{
    if (m_table.empty())
        Clear();
}

void NotificationStore::BeginRound()
{
    m_roundBuckets = m_table.bucket_count();
    m_roundInsertions = m_insertions;
    m_left = m_roundBuckets;
}

bool NotificationStore::NextInRound(Entry& entry)
{
    // Inserting may move every entry, also when the table keeps its size.
    if (m_roundInsertions != m_insertions || m_roundBuckets != m_table.bucket_count())
        BeginRound();
    while (m_left > 0) {
        --m_left;
        ++m_slotsVisited;
        if (m_cursor >= m_table.bucket_count())
            m_cursor = 0;
        const std::size_t slot = m_cursor++;
        const auto found = m_table.begin(slot);
        if (found == m_table.end(slot))
            continue;
        entry = {found->first, found->second};
        return true;
    }
    return false;
}

void NotificationStore::ForEach(const std::function<bool(const CString&, const NotificationPtr&)>& visit) const
{
    for (const auto& [path, notification] : m_table)
        if (!visit(path, notification))
            return;
}

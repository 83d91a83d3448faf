#include "companions/indexdb/KeyOwners.h"

#include <unordered_set>

// The section is left between two items, because look-ups enter it.
void KeyOwners::AskCache(const FileIdentity& database, const std::vector<RecordedItem>& items)
{
    for (const RecordedItem& item : items) {
        CachedDatum owner;
        const CSingleLock lock(CIndexDB::m_csCache);
        const ItemCache* const cache = IndexCache::For(database);
        if (!cache)
            return;
        m_followed = IndexCache::Followed();
        if (cache->Find(item.datum.id, owner))
            m_owners.emplace(item.datum.id, owner.path);
    }
}

void KeyOwners::Complete(IndexConnection& connection, std::int64_t changes, const std::vector<RecordedItem>& items)
{
    if (m_followed == changes)
        return;
    m_owners.clear();
    std::unordered_set<std::uint64_t> keys;
    for (const RecordedItem& item : items)
        keys.insert(item.datum.id);
    IndexStatement query(connection.Get(), "SELECT id, path FROM items");
    while (query.Step())
        if (const auto id = static_cast<std::uint64_t>(query.Integer(0)); keys.contains(id))
            m_owners.emplace(id, query.Text(1));
}

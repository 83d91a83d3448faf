#include "companions/indexdb/IndexFormat.h"
#include "companions/indexdb/IndexSchema.h"
#include "companions/indexdb/IndexState.h"
#include "companions/logging/OrbLogging.h"
#include "support/Hashes.h"

#include <memory>

namespace
{

constexpr const wchar_t* logSource = L"OrbIndexDB";

CachedDatum CachedFrom(const ItemDatum& item)
{
    CachedDatum datum;
    datum.path = IndexPath(item.path);
    datum.id = CIndexDB::CalculateUuid(datum.path);
    const std::size_t slash = datum.path.View().rfind(L'\\');
    const bool inFolder = slash != std::wstring_view::npos && slash > 0;
    datum.parentId = inFolder ? PathHash64(datum.path.View().substr(0, slash)) : 0;
    datum.modificationTime = item.modificationTime;
    datum.kind = item.kind;
    datum.flags = item.flags;
    if (item.kind == 1)
        datum.flags |= CachedDatum::Folder;
    return datum;
}

void CheckItem(const ItemDatum& item, const CachedDatum& datum)
{
    const int length = datum.path.GetLength();
    if (length == 0 || static_cast<std::size_t>(length) > ItemCache::MaxPath || item.kind > 1)
        throw IndexError{CIndexDB::Error::Failed, L"not an item: " + datum.path.Left(MAX_PATH)};
}

void ReadItems(IndexConnection& connection, ItemCache& cache)
{
    IndexStatement query(connection.Get(), IndexSchema::ItemsQuery(connection));
    while (query.Step()) {
        const std::optional<IndexFormat::ItemRow> row = IndexFormat::ReadItem(query.Get());
        if (!row || !cache.Put(row->datum, row->delayedUntil))
            throw IndexError{CIndexDB::Error::Corrupt, L"it holds an item that no library has written"};
    }
}

// Lets the cache of this database, if there is one, follow a change of each item. Look-ups can enter between any two
// items. After an exception the cache may be in disorder, and does not know the rest.
template <typename Items, typename Change>
void LetCacheFollow(const FileIdentity& database, const Items& items, Change change)
{
    try {
        for (const auto& item : items) {
            const CSingleLock lock(CIndexDB::m_csCache);
            if (ItemCache* const cache = IndexCache::For(database))
                change(*cache, item);
        }
    } catch (const std::bad_alloc&) {
        g_OrbLog.WriteLog(2, logSource, __LINE__, L"No memory for the index cache; it is dropped.");
        CIndexDB::ClearCache();
    }
}

void Forget(ItemCache& cache, const CString& path)
{
    if (const auto id = cache.FindPath(path.View()))
        cache.Erase(*id);
}

void Take(ItemCache& cache, const ItemDatum* item)
{
    const CachedDatum datum = CachedFrom(*item);
    if (!cache.Put(datum, item->delayedUntil))
        g_OrbLog.WriteLog(2, logSource, __LINE__, L"The index cache holds another path under the key of %s.",
                          datum.path.GetString());
}

} // namespace

bool CIndexDB::State::RecordAll(const ItemDatum* items, std::size_t count)
{
    const CSingleLock turn(IndexCache::Turn());
    std::vector<const ItemDatum*> recorded;
    if (!Run([&] { recorded = WriteItems(items, count); }))
        return false;
    LetCacheFollow(identity, recorded, Take);
    return recorded.size() == count;
}

// A name that a user has made for the purpose must not keep the other items of a batch out of the index.
std::vector<const ItemDatum*> CIndexDB::State::WriteItems(const ItemDatum* items, std::size_t count)
{
    connection.RequireNoBatch();
    std::vector<const ItemDatum*> written;
    IndexTransaction transaction(connection);
    // A row is replaced by the same path, in whatever case and under whatever key, but never by another path.
    IndexStatement insert(connection.Get(),
                          "INSERT OR REPLACE INTO items(id, parent, kind, modified, flags, delayed, path)"
                          " VALUES(?, ?, ?, ?, ?, ?, ?) ON CONFLICT(id) DO UPDATE SET parent = excluded.parent,"
                          " kind = excluded.kind, modified = excluded.modified, flags = excluded.flags,"
                          " delayed = excluded.delayed, path = excluded.path WHERE path = excluded.path");
    IndexStatement isBack(connection.Get(), "DELETE FROM gone WHERE item = ?");
    for (const ItemDatum* item = items; item != items + count; ++item) {
        const CachedDatum datum = CachedFrom(*item);
        CheckItem(*item, datum);
        insert.BindAll(datum.id, datum.parentId, datum.kind, datum.modificationTime, datum.flags, item->delayedUntil,
                       datum.path);
        insert.Step();
        if (connection.Changed() == 0) {
            RefuseKey(datum);
            continue;
        }
        isBack.BindAll(datum.id);
        isBack.Step();
        written.push_back(item);
    }
    insert.Close();
    isBack.Close();
    transaction.Commit();
    return written;
}

// The file stays new and is backed up each time: that loses nothing.
void CIndexDB::State::RefuseKey(const CachedDatum& datum)
{
    IndexStatement query(connection.Get(), "SELECT path FROM items WHERE id = ?", datum.id);
    const CString owner = query.Step() ? query.Text(0) : CString();
    last = {Error::Failed, L"cannot record " + datum.path + L": its key belongs to " + owner};
    g_OrbLog.WriteLog(2, logSource, __LINE__, L"Cannot record %s: its key belongs to %s. It stays new.",
                      datum.path.GetString(), owner.GetString());
}

bool CIndexDB::RecordItem(const ItemDatum& item) { return m_state->RecordAll(&item, 1); }
bool CIndexDB::RecordItems(const std::vector<ItemDatum>& items)
{
    return m_state->RecordAll(items.data(), items.size());
}

bool CIndexDB::ForgetItem(const wchar_t* path) { return ForgetItems({CString(path)}); }

bool CIndexDB::ForgetItems(const std::vector<CString>& paths)
{
    const CSingleLock turn(IndexCache::Turn());
    std::vector<CString> known;
    const bool forgotten = m_state->Run([&] {
        m_state->connection.RequireNoBatch();
        for (const CString& path : paths)
            known.push_back(IndexPath(path));
        IndexTransaction transaction(m_state->connection);
        for (const CString& path : known) {
            m_state->connection.Execute("DELETE FROM gone WHERE item IN (SELECT id FROM items WHERE path=?)", path);
            m_state->connection.Execute("DELETE FROM items WHERE path=?", path);
        }
        transaction.Commit();
    });
    if (forgotten)
        LetCacheFollow(m_state->identity, known, Forget);
    return forgotten;
}

bool CIndexDB::LoadCache()
{
    const CSingleLock turn(IndexCache::Turn());
    std::unique_ptr<ItemCache> cache;
    const bool read = m_state->Run([&] {
        cache = std::make_unique<ItemCache>();
        ReadItems(m_state->connection, *cache);
    });
    if (read)
        IndexCache::Replace(std::move(cache), m_state->identity);
    return read;
}

bool CIndexDB::BeginFolderChildrenRead(const wchar_t* folder)
{
    return m_state->Run([&] {
        m_state->children.Close();
        const CString path = IndexPath(folder);
        if (path.IsEmpty())
            throw IndexError{Error::Failed, L"no folder given"};
        // Selects everything that begins with the path and a backslash; "]" is the unit after the backslash.
        m_state->children = IndexStatement(
            m_state->connection.Get(), "SELECT id FROM items WHERE path > ? AND path < ?", path + L"\\", path + L"]");
    });
}

bool CIndexDB::ReadRow(std::uint64_t& id)
{
    bool row = false;
    m_state->Run([&] {
        // Stepping a statement beyond its end or an error would begin again with the first row.
        IndexStatement children = std::move(m_state->children);
        row = children && children.Step();
        if (!row)
            return;
        id = static_cast<std::uint64_t>(children.Integer(0));
        m_state->children = std::move(children);
    });
    return row;
}

#include "companions/indexdb/IndexFormat.h"
#include "companions/indexdb/IndexSchema.h"
#include "companions/indexdb/IndexState.h"
#include "companions/logging/OrbLogging.h"
#include "support/CaseFold.h"
#include "support/Hashes.h"

#include <algorithm>
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

void CheckItem(const RecordedItem& item)
{
    const CString& path = item.datum.path;
    const int length = path.GetLength();
    if (length == 0 || static_cast<std::size_t>(length) > ItemCache::MaxPath || item.datum.kind > 1)
        throw IndexError{CIndexDB::Error::Failed, L"not an item: " + path.Left(MAX_PATH)};
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

void Take(ItemCache& cache, const RecordedItem& item)
{
    if (!cache.Put(item.datum, item.delayedUntil))
        g_OrbLog.WriteLog(2, logSource, __LINE__, L"The index cache holds another path under the key of %s.",
                          item.datum.path.GetString());
}

// The tree of the paths has this order. Of several items with one path, the last one counts.
void SortByPath(std::vector<RecordedItem>& items)
{
    const auto before = [](const RecordedItem& left, const RecordedItem& right) {
        return CompareNoCase(left.datum.path.View(), right.datum.path.View()) < 0;
    };
    // Nearly always: a backup's batches are sorted already.
    if (!std::is_sorted(items.begin(), items.end(), before))
        std::stable_sort(items.begin(), items.end(), before);
}

} // namespace

bool CIndexDB::State::RecordAll(std::span<const ItemDatum> items)
{
    const CSingleLock turn(IndexCache::Turn());
    std::vector<RecordedItem> recorded;
    std::int64_t change = 0;
    KeyOwners owners;
    // The cache is asked before the database is locked, because look-ups in the cache never wait for a database.
    const bool prepared = Guarded([&] {
        for (const ItemDatum& item : items)
            recorded.push_back({CachedFrom(item), item.delayedUntil});
        owners.AskCache(identity, recorded);
    });
    if (!prepared || !Run([&] { change = WriteItems(recorded, owners); }))
        return false;
    LetCacheFollow(identity, recorded, Take);
    IndexCache::NoteFollowed(identity, change);
    return recorded.size() == items.size();
}

std::int64_t CIndexDB::State::WriteItems(std::vector<RecordedItem>& items, KeyOwners& owners)
{
    connection.RequireNoBatch();
    std::ranges::for_each(items, CheckItem);
    IndexTransaction transaction(connection);
    const std::int64_t changes = IndexSchema::ItemChanges(connection);
    owners.Complete(connection, changes, items);
    std::erase_if(items, [&](const RecordedItem& item) { return IsRefused(item.datum, owners.Claim(item.datum)); });
    SortByPath(items);
    // A row is replaced by the same path, in whatever case and under whatever key.
    IndexStatement insert(connection.Get(),
                          "INSERT INTO items(id, parent, kind, modified, flags, delayed, path)"
                          " VALUES(?, ?, ?, ?, ?, ?, ?) ON CONFLICT(path) DO UPDATE SET id = excluded.id,"
                          " parent = excluded.parent, kind = excluded.kind, modified = excluded.modified,"
                          " flags = excluded.flags, delayed = excluded.delayed, path = excluded.path");
    IndexStatement isBack(connection.Get(), "DELETE FROM gone WHERE item = ?");
    for (const auto& [datum, delayedUntil] : items) {
        insert.BindAll(datum.id, datum.parentId, datum.kind, datum.modificationTime, datum.flags, delayedUntil,
                       datum.path);
        insert.Step();
        isBack.BindAll(datum.id);
        isBack.Step();
    }
    insert.Close();
    isBack.Close();
    IndexSchema::CountItemChange(connection);
    transaction.Commit();
    return changes + 1;
}

// A name that a user has made for the purpose must not keep the other items of a batch out of the index. A file that is
// left out stays new and is backed up each time: that loses nothing.
bool CIndexDB::State::IsRefused(const CachedDatum& item, const CString& owner)
{
    if (EqualNoCase(owner.View(), item.path.View()))
        return false;
    last = {Error::Failed, L"cannot record " + item.path + L": its key belongs to " + owner};
    g_OrbLog.WriteLog(2, logSource, __LINE__, L"Cannot record %s: its key belongs to %s. It stays new.",
                      item.path.GetString(), owner.GetString());
    return true;
}

bool CIndexDB::RecordItem(const ItemDatum& item) { return m_state->RecordAll({&item, 1}); }
bool CIndexDB::RecordItems(const std::vector<ItemDatum>& items) { return m_state->RecordAll(items); }

bool CIndexDB::ForgetItem(const wchar_t* path) { return ForgetItems({CString(path)}); }

bool CIndexDB::ForgetItems(const std::vector<CString>& paths)
{
    const CSingleLock turn(IndexCache::Turn());
    std::vector<CString> known;
    std::int64_t changes = 0;
    const bool forgotten = m_state->Run([&] {
        m_state->connection.RequireNoBatch();
        for (const CString& path : paths)
            known.push_back(IndexPath(path));
        IndexTransaction transaction(m_state->connection);
        for (const CString& path : known) {
            m_state->connection.Execute("DELETE FROM gone WHERE item IN (SELECT id FROM items WHERE path=?)", path);
            m_state->connection.Execute("DELETE FROM items WHERE path=?", path);
        }
        IndexSchema::CountItemChange(m_state->connection);
        changes = IndexSchema::ItemChanges(m_state->connection);
        transaction.Commit();
    });
    if (!forgotten)
        return false;
    LetCacheFollow(m_state->identity, known, Forget);
    IndexCache::NoteFollowed(m_state->identity, changes);
    return true;
}

bool CIndexDB::LoadCache()
{
    const CSingleLock turn(IndexCache::Turn());
    std::unique_ptr<ItemCache> cache;
    std::int64_t changes = 0;
    const bool read = m_state->Run([&] {
        cache = std::make_unique<ItemCache>();
        // Another process may write between the two: then the cache counts as one that has missed a change.
        changes = IndexSchema::ItemChanges(m_state->connection);
        ReadItems(m_state->connection, *cache);
    });
    if (read)
        IndexCache::Replace(std::move(cache), m_state->identity, changes);
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

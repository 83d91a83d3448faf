#include "companions/indexdb/IndexCache.h"

#include "companions/indexdb/IndexConnection.h"
#include "support/CaseFold.h"
#include "support/Hashes.h"

namespace
{

RankedSection g_turn(LockRank::IndexCache, L"index cache's turn");
RankedSection g_cacheSection(LockRank::IndexCache, L"index cache");
RankedSection g_deleteSection(LockRank::DeleteMap, L"delete map");
RankedSection g_deleteDRSection(LockRank::DeleteMap, L"delete map (DR)");
DeleteMap g_deleteMap;
DeleteMap g_deleteDRMap;

// g_cacheSection guards all of these.
std::unique_ptr<ItemCache> g_cache;
FileIdentity g_cachedDatabase;
std::int64_t g_followed = 0;    // changes of the database's items
std::uint64_t g_generation = 0; // counts the caches
std::uint32_t g_lastRun = 0;

// The most places of the cache that one call looks at, so that the section is held for moments only.
constexpr std::size_t PlacesAtOnce = 16384;

std::wstring_view WithoutBackslash(const wchar_t* path)
{
    std::wstring_view view(path ? path : L"");
    if (view.ends_with(L'\\'))
        view.remove_suffix(1);
    return view;
}

} // namespace

CCriticalSection& CIndexDB::m_csCache = g_cacheSection;
CCriticalSection& CIndexDB::m_csMapDelete = g_deleteSection;
CCriticalSection& CIndexDB::m_csMapDeleteDR = g_deleteDRSection;
bool DeleteMapOrder::operator()(const CString& left, const CString& right) const
{
    return CompareNoCase(left.View(), right.View()) < 0;
}

DeleteMap& CIndexDB::m_mapDeletePtr = g_deleteMap;
DeleteMap& CIndexDB::m_mapDeleteDRPtr = g_deleteDRMap;

FileIdentity FileIdentity::Of(const wchar_t* path)
{
    const FileHandle file(CreateFileW(path, FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !GetFileInformationByHandle(file.Get(), &information))
        return {};
    return {information.dwVolumeSerialNumber, information.nFileIndexLow | std::uint64_t(information.nFileIndexHigh)
                                                                              << 32};
}

RankedSection& IndexCache::Turn() { return g_turn; }

ItemCache* IndexCache::Any() { return g_cache.get(); }

ItemCache* IndexCache::For(const FileIdentity& database)
{
    return g_cachedDatabase == database ? g_cache.get() : nullptr;
}

std::int64_t IndexCache::Followed() { return g_followed; }

void IndexCache::NoteFollowed(const FileIdentity& database, std::int64_t change)
{
    const CSingleLock lock(g_cacheSection);
    if (For(database) && g_followed == change - 1)
        g_followed = change;
}

void IndexCache::Replace(std::unique_ptr<ItemCache> cache, const FileIdentity& database, std::int64_t followed)
{
    // The argument destroys the old cache, after the section is left: millions of items take time.
    const CSingleLock lock(g_cacheSection);
    if (cache)
        cache->BeginRun(g_lastRun); // which has met nothing of it
    g_cache.swap(cache);
    g_cachedDatabase = database;
    g_followed = followed;
    ++g_generation;
}

CString IndexPath(const wchar_t* path) { return CString(WithoutBackslash(path)); }

std::uint64_t CIndexDB::CalculateUuid(const wchar_t* path) { return PathHash64(WithoutBackslash(path)); }

bool CIndexDB::CacheLoaded()
{
    const CSingleLock lock(m_csCache);
    return IndexCache::Any() != nullptr;
}

void CIndexDB::ClearCache()
{
    // Otherwise a cache that is being loaded meanwhile would come back.
    const CSingleLock turn(IndexCache::Turn());
    IndexCache::Replace(nullptr, {}, 0);
}

bool CIndexDB::GetCachedData(std::uint64_t id, CachedDatum& datum, int)
{
    const CSingleLock lock(m_csCache);
    const ItemCache* cache = IndexCache::Any();
    return cache && cache->Find(id, datum);
}

bool CIndexDB::IsItemOf(const wchar_t* path, const CachedDatum& datum)
{
    const std::wstring_view asked = WithoutBackslash(path), found = datum.path.View();
    return asked == found || EqualNoCase(asked, found); // nearly every path is asked for in its own spelling
}

bool CIndexDB::GetCachedData(const wchar_t* path, CachedDatum& datum)
{
    const CSingleLock lock(m_csCache);
    const ItemCache* cache = IndexCache::Any();
    return cache && cache->Find(WithoutBackslash(path), datum);
}

bool CIndexDB::HasCachedItemsBelow(const wchar_t* folder)
{
    const CSingleLock lock(m_csCache);
    const ItemCache* cache = IndexCache::Any();
    return cache && cache->HasItemsBelow(WithoutBackslash(folder));
}

bool CIndexDB::IsDelayedItemWatcher(const wchar_t* path, std::int64_t& until)
{
    const CSingleLock lock(m_csCache);
    const ItemCache* cache = IndexCache::Any();
    const auto id = cache ? cache->FindPath(WithoutBackslash(path)) : std::nullopt;
    until = id ? cache->DelayedUntil(*id) : 0;
    return until != 0;
}

std::uint32_t CIndexDB::BeginRun()
{
    const CSingleLock lock(m_csCache);
    ItemCache* const cache = IndexCache::Any();
    if (!cache)
        return 0;
    cache->BeginRun(g_lastRun + 1);
    return ++g_lastRun;
}

bool CIndexDB::Meet(const wchar_t* path)
{
    const CSingleLock lock(m_csCache);
    ItemCache* const cache = IndexCache::Any();
    return cache && cache->Meet(WithoutBackslash(path));
}

bool CIndexDB::IsUnmet(const wchar_t* path)
{
    const CSingleLock lock(m_csCache);
    const ItemCache* cache = IndexCache::Any();
    return cache && cache->IsUnmet(WithoutBackslash(path));
}

bool CIndexDB::ReadUnmet(UnmetItems& items)
{
    const CSingleLock lock(m_csCache);
    const ItemCache* cache = IndexCache::Any();
    // A cache that was loaded meanwhile has its items at other places.
    if (items.generation != g_generation)
        items.next = 0;
    items.generation = g_generation;
    items.found.clear();
    if (!cache)
        return false;
    const std::wstring_view folder = WithoutBackslash(items.folder);
    const std::size_t end = items.next + PlacesAtOnce;
    while (const auto place = cache->NextUnmet(items.run, folder, items.next, end)) {
        CachedDatum& datum = items.found.emplace_back();
        cache->FindAt(*place, datum);
        items.next = *place + 1;
    }
    items.next = end;
    return end < cache->Places() || !items.found.empty();
}

std::uint64_t CIndexDB::DatabaseLookups() { return IndexStatement::QueryCount(); }
std::uint64_t CIndexDB::StatementsPrepared() { return IndexStatement::PreparedCount(); }

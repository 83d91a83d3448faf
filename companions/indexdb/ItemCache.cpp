#include "companions/indexdb/ItemCache.h"

#include "support/CaseFold.h"
#include "support/Hashes.h"

#include <algorithm>

namespace
{

constexpr unsigned blockBits = 18;
constexpr std::size_t blockUnits = std::size_t(1) << blockBits;
static_assert(ItemCache::MaxPath <= blockUnits, "a name lies in one block");

// The maps need a key that no item has. Were an item's id this number, it would use its neighbour's
// place; the ids in the items tell the two apart.
constexpr std::uint64_t deletedKey = ~std::uint64_t(0);
std::uint64_t KeyOf(std::uint64_t id) { return id == deletedKey ? id - 1 : id; }

bool IsAscii(std::wstring_view text)
{
    return std::all_of(text.begin(), text.end(), [](wchar_t unit) { return unit < 0x80; });
}

// A path that begins with its only backslash has no folder.
std::size_t NameStart(std::wstring_view path)
{
    const std::size_t slash = path.rfind(L'\\');
    return slash == std::wstring_view::npos || slash == 0 ? 0 : slash + 1;
}

} // namespace

ItemCache::ItemCache()
{
    m_byId.set_deleted_key(deletedKey);
    m_byFoldedPath.set_deleted_key(deletedKey);
    m_subtrees.set_deleted_key(deletedKey);
}

void ItemCache::Put(const CachedDatum& datum, std::int64_t delayedUntil)
{
    const std::wstring_view path = datum.path.View();
    if (Update(datum, delayedUntil))
        return;
    if (const auto samePath = FindPath(path))
        Erase(*samePath);
    Erase(datum.id);

    const std::size_t nameStart = NameStart(path);
    const std::wstring_view name = path.substr(nameStart);
    const std::uint32_t folder = EnterFolder(path.substr(0, nameStart == 0 ? 0 : nameStart - 1));
    const std::uint32_t place = AddName(name);
    const Slot slot = TakeSlot();
    m_items[slot] = {datum.id,
                     datum.modificationTime,
                     folder,
                     place,
                     datum.flags,
                     static_cast<std::uint16_t>(name.size()),
                     static_cast<std::uint8_t>(datum.kind),
                     true};
    m_byId[KeyOf(datum.id)] = slot;
    if (!IsAscii(path))
        m_byFoldedPath[FoldedKey(path)] = slot;
    SetDelayed(datum.id, delayedUntil);
}

// An item whose path stays keeps its place, so that its name is not stored again.
bool ItemCache::Update(const CachedDatum& datum, std::int64_t delayedUntil)
{
    const auto found = m_byId.find(KeyOf(datum.id));
    if (found == m_byId.end())
        return false;
    Item& item = m_items[found->second];
    if (item.id != datum.id || !HasPath(item, datum.path.View(), std::equal_to<std::wstring_view>()))
        return false;
    item.modificationTime = datum.modificationTime;
    item.flags = datum.flags;
    item.kind = static_cast<std::uint8_t>(datum.kind);
    SetDelayed(datum.id, delayedUntil);
    return true;
}

void ItemCache::SetFlags(std::uint64_t id, std::uint32_t flags)
{
    const auto found = m_byId.find(KeyOf(id));
    if (found != m_byId.end() && m_items[found->second].id == id)
        m_items[found->second].flags = flags;
}

void ItemCache::AddFlags(std::uint64_t id, std::uint32_t flags)
{
    const auto found = m_byId.find(KeyOf(id));
    if (found != m_byId.end() && m_items[found->second].id == id)
        m_items[found->second].flags |= flags;
}

void ItemCache::SetDelayed(std::uint64_t id, std::int64_t until)
{
    if (until == 0)
        m_delayed.erase(id);
    else
        m_delayed[id] = until;
}

void ItemCache::Erase(std::uint64_t id)
{
    const Item* item = ItemAt(m_byId, KeyOf(id));
    if (!item || item->id != id)
        return;
    const Slot slot = m_byId.find(KeyOf(id))->second;
    CString path;
    PathOf(*item, path);
    if (!IsAscii(path.View()))
        m_byFoldedPath.erase(FoldedKey(path.View()));
    m_byId.erase(KeyOf(id));
    m_delayed.erase(id);
    LeaveFolder(item->folder);
    m_items[slot].used = false;
    m_freeSlots.push_back(slot);
    m_unusedNameUnits += item->nameLength;
    if (m_unusedNameUnits > 4 * blockUnits && m_unusedNameUnits > m_names.size() * blockUnits / 2)
        DropUnusedNames();
}

bool ItemCache::Find(std::uint64_t id, CachedDatum& datum) const
{
    const Item* item = ItemAt(m_byId, KeyOf(id));
    if (!item || item->id != id)
        return false;
    datum.id = id;
    datum.parentId = m_folders[item->folder].id;
    datum.modificationTime = item->modificationTime;
    datum.kind = item->kind;
    datum.flags = item->flags;
    PathOf(*item, datum.path);
    return true;
}

std::optional<std::uint64_t> ItemCache::FindPath(std::wstring_view path) const
{
    // The id finds nearly everything; the folded forms find what differs in the case of other letters.
    const Item* item = ItemOfPath(m_byId, KeyOf(PathHash64(path)), path);
    if (!item) {
        const std::uint64_t folded = FoldedKey(path);
        item = ItemOfPath(m_byFoldedPath, folded, path);
        if (!item)
            item = ItemOfPath(m_byId, folded, path);
    }
    return item ? std::optional(item->id) : std::nullopt;
}

bool ItemCache::HasItemsBelow(std::wstring_view folder) const { return m_subtrees.count(FoldedKey(folder)) != 0; }

std::int64_t ItemCache::DelayedUntil(std::uint64_t id) const
{
    const auto found = m_delayed.find(id);
    return found == m_delayed.end() ? 0 : found->second;
}

const ItemCache::Item* ItemCache::ItemAt(const SlotMap& map, std::uint64_t key) const
{
    const auto found = map.find(key);
    return found == map.end() ? nullptr : &m_items[found->second];
}

const ItemCache::Item* ItemCache::ItemOfPath(const SlotMap& map, std::uint64_t key, std::wstring_view path) const
{
    const Item* item = ItemAt(map, key);
    return item && HasPath(*item, path, EqualNoCase) ? item : nullptr;
}

ItemCache::Slot ItemCache::TakeSlot()
{
    if (m_freeSlots.empty()) {
        m_items.emplace_back();
        return static_cast<Slot>(m_items.size() - 1);
    }
    const Slot slot = m_freeSlots.back();
    m_freeSlots.pop_back();
    return slot;
}

std::uint32_t ItemCache::EnterFolder(std::wstring_view path)
{
    const auto found = m_folderNumbers.find(path);
    if (found != m_folderNumbers.end()) {
        ++m_folders[found->second].items;
        return found->second;
    }
    if (m_freeFolders.empty()) {
        m_folders.emplace_back();
        m_freeFolders.push_back(static_cast<std::uint32_t>(m_folders.size() - 1));
    }
    const std::uint32_t number = m_freeFolders.back();
    m_freeFolders.pop_back();
    m_folders[number] = {std::wstring(path), path.empty() ? 0 : PathHash64(path), 1};
    m_folderNumbers.emplace(m_folders[number].path, number);
    CountInAncestors(path, 1);
    return number;
}

// Folders come and go for as long as the service runs: an empty one gives its path back.
void ItemCache::LeaveFolder(std::uint32_t number)
{
    Folder& folder = m_folders[number];
    if (--folder.items > 0)
        return;
    m_folderNumbers.erase(folder.path);
    CountInAncestors(folder.path, static_cast<std::uint32_t>(-1));
    folder = {};
    m_freeFolders.push_back(number);
}

void ItemCache::CountInAncestors(std::wstring_view path, std::uint32_t change)
{
    Fold(path);
    std::wstring_view ancestor = m_folded;
    while (!ancestor.empty()) {
        const auto count = m_subtrees.insert({KeyOf(PathHash64(ancestor)), 0}).first;
        count->second += change;
        if (count->second == 0)
            m_subtrees.erase(count);
        const std::size_t slash = ancestor.rfind(L'\\');
        ancestor = ancestor.substr(0, slash == std::wstring_view::npos ? 0 : slash);
    }
}

std::uint32_t ItemCache::AddName(std::wstring_view name)
{
    if (m_names.empty() || m_namesUsed + name.size() >= blockUnits) {
        m_names.push_back(std::make_unique<wchar_t[]>(blockUnits));
        m_namesUsed = 0;
    }
    const std::size_t place = (m_names.size() - 1) * blockUnits + m_namesUsed;
    std::copy(name.begin(), name.end(), m_names.back().get() + m_namesUsed);
    m_namesUsed += name.size();
    return static_cast<std::uint32_t>(place);
}

std::wstring_view ItemCache::NameOf(const Item& item) const
{
    return {m_names[item.name >> blockBits].get() + (item.name & (blockUnits - 1)), item.nameLength};
}

// Millions of look-ups come here: one allocation, and none to compare.
void ItemCache::PathOf(const Item& item, CString& path) const
{
    const std::wstring& folder = m_folders[item.folder].path;
    const std::wstring_view name = NameOf(item);
    const std::size_t length = folder.size() + (folder.empty() ? 0 : 1) + name.size();
    path.Empty();
    wchar_t* end = std::copy(folder.begin(), folder.end(), path.GetBuffer(static_cast<int>(length)));
    if (!folder.empty())
        *end++ = L'\\';
    std::copy(name.begin(), name.end(), end);
    path.ReleaseBuffer(static_cast<int>(length));
}

template <typename Equal>
bool ItemCache::HasPath(const Item& item, std::wstring_view path, Equal equal) const
{
    const std::wstring_view folder = m_folders[item.folder].path;
    const std::wstring_view name = NameOf(item);
    const std::size_t nameStart = folder.empty() ? 0 : folder.size() + 1;
    return path.size() == nameStart + name.size() && equal(path.substr(nameStart), name) &&
           equal(path.substr(0, folder.size()), folder) && (nameStart == 0 || path[nameStart - 1] == L'\\');
}

void ItemCache::Fold(std::wstring_view path) const
{
    m_folded = path;
    for (wchar_t& unit : m_folded)
        unit = static_cast<wchar_t>(UpperUnit(static_cast<std::uint16_t>(unit)));
}

std::uint64_t ItemCache::FoldedKey(std::wstring_view path) const
{
    Fold(path);
    return KeyOf(PathHash64(m_folded));
}

void ItemCache::DropUnusedNames()
{
    const auto old = std::move(m_names);
    m_names.clear();
    m_unusedNameUnits = 0;
    for (Item& item : m_items)
        if (item.used)
            item.name = AddName({old[item.name >> blockBits].get() + (item.name & (blockUnits - 1)), item.nameLength});
}

#include "companions/indexdb/ItemCache.h"

#include "support/CaseFold.h"
#include "support/Hashes.h"

#include <algorithm>
#include <new>

namespace
{

constexpr unsigned BlockBits = 18;
constexpr std::size_t BlockUnits = std::size_t(1) << BlockBits;
static_assert(ItemCache::MaxPath <= BlockUnits, "a name lies in one block");

// The maps need a key that no entry has. A path with this key uses the neighbouring key: finds by key compare the paths
// anyway.
constexpr std::uint64_t DeletedKey = ~std::uint64_t(0);
std::uint64_t KeyOf(std::uint64_t hash) { return hash == DeletedKey ? hash - 1 : hash; }

bool IsAscii(std::wstring_view text)
{
    return std::all_of(text.begin(), text.end(), [](wchar_t unit) { return unit < 0x80; });
}

// A path whose only backslash is its first unit has no folder.
std::size_t NameStart(std::wstring_view path)
{
    const std::size_t slash = path.rfind(L'\\');
    return slash == std::wstring_view::npos || slash == 0 ? 0 : slash + 1;
}

} // namespace

ItemCache::ItemCache(std::uint64_t mostNameUnits)
    : m_mostNameBlocks(static_cast<std::size_t>(mostNameUnits >> BlockBits))
{
    m_subtrees.set_deleted_key(DeletedKey);
}

bool ItemCache::Put(const CachedDatum& datum, std::int64_t delayedUntil)
{
    const std::wstring_view path = datum.path.View();
    if (path.empty() || path.size() > MaxPath)
        return false;
    if (Update(datum, delayedUntil))
        return true;
    if (const Item* const sameId = ItemOfId(datum.id); sameId && !IfItHasPath(sameId, path))
        return false;
    Erase(datum.id);
    if (const auto samePath = FindPath(path))
        Erase(*samePath);

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
    EnterId(slot);
    if (!IsAscii(path))
        m_byFoldedPath.Insert(FoldedKey(path), slot, [this](Slot other) { return FoldedKeyOf(other); });
    SetDelayed(datum.id, delayedUntil);
    return true;
}

// An item whose path stays the same keeps its place, so that its name is not stored again.
bool ItemCache::Update(const CachedDatum& datum, std::int64_t delayedUntil)
{
    Item* const item = ItemOfId(datum.id);
    if (!item || !HasPath(*item, datum.path.View(), std::equal_to<std::wstring_view>()))
        return false;
    item->modificationTime = datum.modificationTime;
    item->flags = datum.flags;
    item->kind = static_cast<std::uint8_t>(datum.kind);
    SetDelayed(datum.id, delayedUntil);
    return true;
}

void ItemCache::SetFlags(std::uint64_t id, std::uint32_t flags)
{
    if (Item* const item = ItemOfId(id))
        item->flags = flags;
}

void ItemCache::AddFlags(std::uint64_t id, std::uint32_t flags)
{
    if (Item* const item = ItemOfId(id))
        item->flags |= flags;
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
    const Slot slot = SlotOfId(id);
    if (slot == SlotTable::None)
        return;
    Item& item = m_items[slot];
    CString path;
    PathOf(item, path);
    if (!IsAscii(path.View()))
        m_byFoldedPath.Erase(FoldedKey(path.View()), slot, [this](Slot other) { return FoldedKeyOf(other); });
    LeaveId(slot);
    m_delayed.erase(id);
    LeaveFolder(item.folder);
    item.used = false;
    m_freeSlots.push_back(slot);
    m_unusedNameUnits += item.nameLength;
    if (m_unusedNameUnits > 4 * BlockUnits && m_unusedNameUnits > m_names.size() * BlockUnits / 2)
        DropUnusedNames();
}

bool ItemCache::Find(std::uint64_t id, CachedDatum& datum) const
{
    const Item* item = ItemOfId(id);
    if (item)
        Describe(*item, datum);
    return item != nullptr;
}

bool ItemCache::Find(std::wstring_view path, CachedDatum& datum) const
{
    const Item* item = ItemOfPath(path);
    if (item)
        Describe(*item, datum);
    return item != nullptr;
}

void ItemCache::Describe(const Item& item, CachedDatum& datum) const
{
    datum.id = item.id;
    datum.parentId = m_folders[item.folder].id;
    datum.modificationTime = item.modificationTime;
    datum.kind = item.kind;
    datum.flags = item.flags;
    PathOf(item, datum.path);
}

std::optional<std::uint64_t> ItemCache::FindPath(std::wstring_view path) const
{
    const Item* item = ItemOfPath(path);
    return item ? std::optional(item->id) : std::nullopt;
}

bool ItemCache::HasItemsBelow(std::wstring_view folder) const { return m_subtrees.count(FoldedKey(folder)) != 0; }

std::int64_t ItemCache::DelayedUntil(std::uint64_t id) const
{
    const auto found = m_delayed.find(id);
    return found == m_delayed.end() ? 0 : found->second;
}

ItemCache::Slot ItemCache::SlotOfId(std::uint64_t id) const
{
    return m_byId.Find(id, [&](Slot slot) { return m_items[slot].id == id; });
}

ItemCache::Item* ItemCache::ItemOfId(std::uint64_t id)
{
    const Slot slot = SlotOfId(id);
    return slot == SlotTable::None ? nullptr : &m_items[slot];
}

void ItemCache::EnterId(Slot slot)
{
    m_byId.Insert(m_items[slot].id, slot, [this](Slot other) { return m_items[other].id; });
}

void ItemCache::LeaveId(Slot slot)
{
    m_byId.Erase(m_items[slot].id, slot, [this](Slot other) { return m_items[other].id; });
}

// The id finds nearly every item; the folded forms find those that differ in the case of other letters.
const ItemCache::Item* ItemCache::ItemOfPath(std::wstring_view path) const
{
    if (const Item* item = IfItHasPath(ItemOfId(PathHash64(path)), path))
        return item;
    if (m_byFoldedPath.Size() == 0 && IsAscii(path))
        return nullptr;
    const std::uint64_t folded = FoldedKey(path);
    const Slot found =
        m_byFoldedPath.Find(folded, [&](Slot slot) { return IfItHasPath(&m_items[slot], path) != nullptr; });
    if (found != SlotTable::None)
        return &m_items[found];
    return IfItHasPath(ItemOfId(folded), path);
}

const ItemCache::Item* ItemCache::IfItHasPath(const Item* item, std::wstring_view path) const
{
    // Nearly every path is asked for in its own spelling.
    const auto equal = [](std::wstring_view one, std::wstring_view other) {
        return one == other || EqualNoCase(one, other);
    };
    return item && HasPath(*item, path, equal) ? item : nullptr;
}

ItemCache::Slot ItemCache::TakeSlot()
{
    if (m_freeSlots.empty())
        return static_cast<Slot>(m_items.Add());
    const Slot slot = m_freeSlots.back();
    m_freeSlots.pop_back();
    return slot;
}

std::uint32_t ItemCache::EnterFolder(std::wstring_view path)
{
    const std::uint64_t id = path.empty() ? 0 : PathHash64(path);
    const Slot known =
        m_folderNumbers.Find(id, [&](Slot slot) { return m_folders[slot].id == id && m_folders[slot].path == path; });
    if (known != SlotTable::None) {
        ++m_folders[known].items;
        return known;
    }
    if (m_freeFolders.empty())
        m_freeFolders.push_back(static_cast<std::uint32_t>(m_folders.Add()));
    const std::uint32_t number = m_freeFolders.back();
    m_freeFolders.pop_back();
    m_folders[number] = {std::wstring(path), id, 1};
    m_folderNumbers.Insert(id, number, [this](Slot other) { return m_folders[other].id; });
    CountInAncestors(path, 1);
    return number;
}

// Folders come and go for as long as the service runs, so an empty one frees its path.
void ItemCache::LeaveFolder(std::uint32_t number)
{
    Folder& folder = m_folders[number];
    if (--folder.items > 0)
        return;
    m_folderNumbers.Erase(folder.id, number, [this](Slot other) { return m_folders[other].id; });
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
    if (m_names.empty() || m_namesUsed + name.size() >= BlockUnits) {
        if (m_names.size() >= m_mostNameBlocks)
            throw std::bad_alloc();
        m_names.push_back(std::make_unique<wchar_t[]>(BlockUnits));
        m_namesUsed = 0;
    }
    const std::size_t place = (m_names.size() - 1) * BlockUnits + m_namesUsed;
    std::copy(name.begin(), name.end(), m_names.back().get() + m_namesUsed);
    m_namesUsed += name.size();
    return static_cast<std::uint32_t>(place);
}

std::wstring_view ItemCache::NameOf(const Item& item) const
{
    return {m_names[item.name >> BlockBits].get() + (item.name & (BlockUnits - 1)), item.nameLength};
}

// Millions of look-ups call this: it allocates once at most, not at all when the text before was as long, and never to
// compare.
void ItemCache::PathOf(const Item& item, CString& path) const
{
    const std::wstring& folder = m_folders[item.folder].path;
    const std::wstring_view name = NameOf(item);
    const std::size_t length = folder.size() + (folder.empty() ? 0 : 1) + name.size();
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

std::uint64_t ItemCache::FoldedKeyOf(Slot slot) const
{
    CString path;
    PathOf(m_items[slot], path);
    return FoldedKey(path.View());
}

void ItemCache::DropUnusedNames()
{
    const auto old = std::move(m_names);
    m_names.clear();
    m_unusedNameUnits = 0;
    for (std::size_t slot = 0; slot < m_items.Size(); ++slot)
        if (Item& item = m_items[slot]; item.used)
            item.name = AddName({old[item.name >> BlockBits].get() + (item.name & (BlockUnits - 1)), item.nameLength});
}

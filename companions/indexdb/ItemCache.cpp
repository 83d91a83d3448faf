#include "companions/indexdb/ItemCache.h"

#include "support/CaseFold.h"
#include "support/Hashes.h"

#include <algorithm>

namespace
{

static_assert(ItemCache::MaxPath <= NameBlocks::BlockUnits, "a name lies in one block");

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

bool ItemCache::Put(const CachedDatum& datum, std::int64_t delayedUntil)
{
    const std::wstring_view path = datum.path.View();
    if (path.empty() || path.size() > MaxPath)
        return false;
    if (Update(datum, delayedUntil))
        return true;
    if (const Slot sameId = SlotOfId(datum.id); sameId != SlotTable::None && !HasPathNoCase(sameId, path))
        return false;
    Erase(datum.id);
    if (const auto samePath = FindPath(path))
        Erase(*samePath);

    const std::size_t nameStart = NameStart(path);
    const std::wstring_view name = path.substr(nameStart);
    const std::uint32_t folder = m_folders.Enter(path.substr(0, nameStart == 0 ? 0 : nameStart - 1));
    const std::uint32_t place = m_names.Add(name);
    const Slot slot = m_items.Take();
    Mark(slot);
    m_items[slot] = {datum.id,
                     datum.modificationTime,
                     folder,
                     place,
                     datum.flags,
                     static_cast<std::uint16_t>(name.size()),
                     static_cast<std::uint8_t>(datum.kind),
                     true};
    m_byId.Insert(datum.id, slot, [this](Slot other) { return m_items[other].id; });
    if (!IsAscii(path))
        m_byFoldedPath.Insert(m_folding.KeyOf(path), slot, [this](Slot other) { return FoldedKeyOf(other); });
    SetDelayed(datum.id, delayedUntil);
    return true;
}

// An item whose path stays the same keeps its place, so that its name is not stored again.
bool ItemCache::Update(const CachedDatum& datum, std::int64_t delayedUntil)
{
    const Slot slot = SlotOfId(datum.id);
    if (slot == SlotTable::None || !HasPath(slot, datum.path.View(), std::equal_to<std::wstring_view>()))
        return false;
    Item& item = m_items[slot];
    item.modificationTime = datum.modificationTime;
    item.flags = datum.flags;
    item.kind = static_cast<std::uint8_t>(datum.kind);
    SetDelayed(datum.id, delayedUntil);
    return true;
}

void ItemCache::AddFlags(std::uint64_t id, std::uint32_t flags)
{
    if (const Slot slot = SlotOfId(id); slot != SlotTable::None)
        m_items[slot].flags |= flags;
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
    CString path;
    PathOf(m_items[slot], path);
    if (!IsAscii(path.View()))
        m_byFoldedPath.Erase(m_folding.KeyOf(path.View()), slot, [this](Slot other) { return FoldedKeyOf(other); });
    m_byId.Erase(id, slot, [this](Slot other) { return m_items[other].id; });
    m_delayed.erase(id);
    m_folders.Leave(m_items[slot].folder);
    const std::size_t nameLength = m_items[slot].nameLength;
    m_items.Release(slot);
    if (m_names.Drop(nameLength))
        DropUnusedNames();
}

bool ItemCache::Describe(Slot slot, CachedDatum& datum) const
{
    if (slot == SlotTable::None)
        return false;
    const Item& item = m_items[slot];
    datum.id = item.id;
    datum.parentId = m_folders.Id(item.folder);
    datum.modificationTime = item.modificationTime;
    datum.kind = item.kind;
    datum.flags = item.flags;
    PathOf(item, datum.path);
    return true;
}

std::optional<std::uint64_t> ItemCache::FindPath(std::wstring_view path) const
{
    const Slot slot = SlotOfPath(path);
    return slot == SlotTable::None ? std::nullopt : std::optional(m_items[slot].id);
}

std::int64_t ItemCache::DelayedUntil(std::uint64_t id) const
{
    const auto found = m_delayed.find(id);
    return found == m_delayed.end() ? 0 : found->second;
}

ItemCache::Slot ItemCache::SlotOfId(std::uint64_t id) const
{
    return m_byId.Find(id, [&](Slot slot) { return m_items[slot].id == id; });
}

bool ItemCache::Meet(std::wstring_view path)
{
    const Slot slot = SlotOfPath(path);
    if (!IsMarkable(slot))
        return false;
    Mark(slot);
    return true;
}

bool ItemCache::IsUnmet(std::wstring_view path) const { return m_run != 0 && IsMarkable(SlotOfPath(path)); }

bool ItemCache::IsMarkable(Slot slot) const
{
    return slot != SlotTable::None && MarkOf(slot) < m_run && !(m_items[slot].flags & CachedDatum::NoDeleteRecord);
}

// Before the first run there is nothing to mark.
void ItemCache::Mark(Slot slot)
{
    if (m_run == 0)
        return;
    if (slot >= m_marks.size())
        m_marks.resize(m_items.Size());
    m_marks[slot] = m_run;
}

std::optional<std::size_t> ItemCache::NextUnmet(std::uint32_t run, std::wstring_view folder, std::size_t place,
                                                std::size_t end) const
{
    for (end = std::min(end, m_items.Size()); place < end; ++place) {
        const Item& item = m_items[place];
        if (MarkOf(static_cast<Slot>(place)) >= run || !item.used || (item.flags & CachedDatum::NoDeleteRecord))
            continue;
        const std::wstring_view path = m_folders.Path(item.folder);
        if (BeginsNoCase(path, folder) && (path.size() == folder.size() || path[folder.size()] == L'\\'))
            return place;
    }
    return std::nullopt;
}

// The id finds nearly every item; the folded forms find those that differ in the case of other letters.
ItemCache::Slot ItemCache::SlotOfPath(std::wstring_view path) const
{
    const auto withPath = [&](Slot slot) {
        return slot != SlotTable::None && HasPathNoCase(slot, path) ? slot : SlotTable::None;
    };
    const Slot sameId = withPath(SlotOfId(PathHash64(path)));
    if (sameId != SlotTable::None || (m_byFoldedPath.Size() == 0 && IsAscii(path)))
        return sameId;
    const std::uint64_t folded = m_folding.KeyOf(path);
    const Slot found = m_byFoldedPath.Find(folded, [&](Slot slot) { return HasPathNoCase(slot, path); });
    return found != SlotTable::None ? found : withPath(SlotOfId(folded));
}

// Nearly every path is asked for in its own spelling.
bool ItemCache::HasPathNoCase(Slot slot, std::wstring_view path) const
{
    return HasPath(slot, path, [](std::wstring_view one, std::wstring_view other) {
        return one == other || EqualNoCase(one, other);
    });
}

// Millions of look-ups call this: it allocates once at most, not at all when the text before was as long, and never to
// compare.
void ItemCache::PathOf(const Item& item, CString& path) const
{
    const std::wstring& folder = m_folders.Path(item.folder);
    const std::wstring_view name = m_names.At(item.name, item.nameLength);
    const std::size_t length = folder.size() + (folder.empty() ? 0 : 1) + name.size();
    wchar_t* end = std::copy(folder.begin(), folder.end(), path.GetBuffer(static_cast<int>(length)));
    if (!folder.empty())
        *end++ = L'\\';
    std::copy(name.begin(), name.end(), end);
    path.ReleaseBuffer(static_cast<int>(length));
}

template <typename Equal>
bool ItemCache::HasPath(Slot slot, std::wstring_view path, Equal equal) const
{
    const std::wstring_view folder = m_folders.Path(m_items[slot].folder);
    const std::wstring_view name = m_names.At(m_items[slot].name, m_items[slot].nameLength);
    const std::size_t nameStart = folder.empty() ? 0 : folder.size() + 1;
    return path.size() == nameStart + name.size() && equal(path.substr(nameStart), name) &&
           equal(path.substr(0, folder.size()), folder) && (nameStart == 0 || path[nameStart - 1] == L'\\');
}

std::uint64_t ItemCache::FoldedKeyOf(Slot slot) const
{
    CString path;
    PathOf(m_items[slot], path);
    return m_folding.KeyOf(path.View());
}

void ItemCache::DropUnusedNames()
{
    const NameBlocks before = m_names.Renew();
    for (std::size_t slot = 0; slot < m_items.Size(); ++slot)
        if (Item& item = m_items[slot]; item.used)
            item.name = m_names.Add(before.At(item.name, item.nameLength));
}

#include "orbwatcher4/core/pending/NotificationStore.h"

#include "support/CaseFold.h"

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

namespace
{

constexpr std::size_t FewestSlots = 32;

bool IsPath(const CString& text) { return !text.IsEmpty() && text.View() != L"?"; }

std::uint32_t HashOf(const CString& path) { return static_cast<std::uint32_t>(HashNoCase(path.View())); }

// At least half of the slots are free.
std::size_t SlotsFor(std::size_t entries) { return std::max(FewestSlots, std::bit_ceil(2 * entries)); }

// Returns true when the table is so full that chains of taken slots would become long.
bool IsFull(std::size_t taken, std::size_t slots) { return taken >= slots / 4 * 3; }

void TakeSlot(std::vector<std::uint32_t>& slots, std::uint32_t hash, std::size_t place)
{
    const std::size_t mask = slots.size() - 1;
    std::size_t slot = hash & mask;
    while (slots[slot] != 0)
        slot = (slot + 1) & mask;
    slots[slot] = static_cast<std::uint32_t>(place + 1);
}

void SetLive(ItemCounters& counters, std::int64_t live)
{
    counters.end = counters.begin + static_cast<std::uint64_t>(live);
}

} // namespace

std::size_t NotificationStore::PlaceOf(const CString& path, std::uint32_t hash) const
{
    if (m_slots.empty() || !IsPath(path))
        return Nowhere;
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t slot = hash & mask; m_slots[slot] != 0; slot = (slot + 1) & mask) {
        ++m_slotsProbed;
        const std::size_t place = m_slots[slot] - 1;
        if (place >= m_begin && HashAt(place) == hash && EqualNoCase(EntryAt(place).path.View(), path.View()))
            return place;
    }
    return Nowhere;
}

NotificationStore::Look::Look(NotificationStore& store, const CString& path) : m_store(store), m_path(path)
{
    store.m_looks.push_back(this);
}

void NotificationStore::Look::End() noexcept
{
    if (!std::exchange(m_ended, true))
        std::erase(m_store.m_looks, this);
}

void NotificationStore::NoteReport(const CString& path) noexcept
{
    for (Look* look : m_looks)
        look->m_reports += EqualNoCase(look->m_path.View(), path.View());
}

NotificationPtr NotificationStore::Find(const CString& path) const
{
    const std::size_t place = PlaceOf(path, HashOf(path));
    return place == Nowhere ? nullptr : EntryAt(place).notification;
}

bool NotificationStore::Put(const CString& path, NotificationPtr notification)
{
    if (!IsPath(path))
        return false;
    NoteReport(path);
    if (notification && notification->kind == NotificationKind::Deleted)
        ++m_deletionsPut;
    const std::uint32_t hash = HashOf(path);
    if (const std::size_t place = PlaceOf(path, hash); place != Nowhere) {
        EntryAt(place).notification = m_shared.InPlaceOf(std::move(notification));
        return true;
    }
    MakeRoom();
    TakeSlot(m_slots, hash, m_end);
    HashAt(m_end) = hash;
    EntryAt(m_end) = {path, m_shared.InPlaceOf(std::move(notification))};
    ++m_end;
    ++m_insertions;
    SetLive(m_counters, LiveCount() + 1);
    return true;
}

// Makes room for one more entry. If memory is exhausted, the store stays as it was.
void NotificationStore::MakeRoom()
{
    if (IsFull(m_end, m_slots.size()))
        CloseGaps(SlotsFor(static_cast<std::size_t>(LiveCount()) + 1));
    if (m_end == m_blocks.size() * BlockPlaces)
        m_blocks.push_back(std::make_unique<Block>());
}

// Moves the entries together in their order. A round that has begun starts again.
void NotificationStore::CloseGaps(std::size_t slots)
{
    std::vector<std::uint32_t> fresh(slots);
    DropLeadingBlocks();
    std::size_t to = 0, cursor = Nowhere, visited = Nowhere;
    for (std::size_t from = m_begin; from < m_end; ++from) {
        if (from == m_cursor)
            cursor = to;
        if (EntryAt(from).path.IsEmpty())
            continue;
        if (from == m_visited)
            visited = to;
        if (from != to) {
            HashAt(to) = HashAt(from);
            EntryAt(to) = std::move(EntryAt(from));
        }
        TakeSlot(fresh, HashAt(to), to);
        ++to;
    }
    m_slots.swap(fresh);
    m_begin = 0;
    m_end = to;
    m_left = to;
    m_cursor = std::min(cursor, to);
    m_visited = visited;
    m_blocks.resize((to + BlockPlaces - 1) / BlockPlaces);
}

void NotificationStore::DropLeadingBlocks()
{
    const std::size_t blocks = m_begin / BlockPlaces, places = blocks * BlockPlaces;
    m_blocks.erase(m_blocks.begin(), m_blocks.begin() + static_cast<std::ptrdiff_t>(blocks));
    m_cursor = std::max(m_cursor, m_begin) - places;
    m_visited = m_visited == Nowhere || m_visited < m_begin ? Nowhere : m_visited - places;
    m_begin -= places;
    m_end -= places;
}

bool NotificationStore::Erase(const CString& path)
{
    const std::size_t place = PlaceOf(path, HashOf(path));
    if (place == Nowhere)
        return false;
    EraseAt(place);
    return true;
}

void NotificationStore::EraseAt(std::size_t place)
{
    EntryAt(place) = {};
    SetLive(m_counters, LiveCount() - 1);
    LetGoOfTheBeginning();
}

// Frees the blocks before the beginning. Draining from the beginning needs neither memory nor look-ups for this.
void NotificationStore::LetGoOfTheBeginning()
{
    while (m_begin < m_end && EntryAt(m_begin).path.IsEmpty())
        if (++m_begin % BlockPlaces == 0)
            m_blocks[m_begin / BlockPlaces - 1].reset();
}

void NotificationStore::Clear()
{
    decltype(m_blocks)().swap(m_blocks);
    decltype(m_slots)().swap(m_slots);
    m_shared.Clear();
    m_begin = 0;
    m_end = 0;
    m_cursor = 0;
    m_left = 0;
    m_visited = Nowhere;
    SetLive(m_counters, 0);
}

void NotificationStore::Shrink()
{
    if (LiveCount() == 0)
        Clear();
}

void NotificationStore::BeginRound()
{
    const auto live = static_cast<std::size_t>(LiveCount());
    // Walks pass over gaps. When there are many more gaps than entries, neither the gaps nor their table are worth
    // keeping.
    if (m_end - m_begin - live > 3 * live + BlockPlaces || m_slots.size() > 16 * (live + BlockPlaces)) {
        try {
            CloseGaps(SlotsFor(live));
        } catch (const std::bad_alloc&) {
            // The gaps stay.
        }
    }
    m_roundInsertions = m_insertions;
    m_left = m_end;
}

bool NotificationStore::NextInRound(Entry& entry)
{
    if (m_roundInsertions != m_insertions)
        BeginRound();
    while (m_left > 0) {
        if (m_cursor >= m_end)
            m_cursor = 0;
        if (m_cursor < m_begin) {
            m_left -= std::min(m_left, m_begin - m_cursor);
            m_cursor = m_begin;
            continue;
        }
        --m_left;
        ++m_placesVisited;
        const std::size_t place = m_cursor++;
        if (EntryAt(place).path.IsEmpty())
            continue;
        m_visited = place;
        entry = EntryAt(place);
        return true;
    }
    return false;
}

bool NotificationStore::EraseVisited()
{
    if (m_visited == Nowhere || m_visited < m_begin || EntryAt(m_visited).path.IsEmpty())
        return false;
    EraseAt(m_visited);
    m_visited = Nowhere;
    return true;
}

void NotificationStore::ForEach(const std::function<bool(const CString&, const NotificationPtr&)>& visit) const
{
    for (std::size_t place = m_begin; place < m_end; ++place) {
        const Entry& entry = EntryAt(place);
        if (!entry.path.IsEmpty() && !visit(entry.path, entry.notification))
            return;
    }
}

std::size_t NotificationStore::TableBytes() const
{
    const auto held =
        std::count_if(m_blocks.begin(), m_blocks.end(), [](const auto& block) { return block != nullptr; });
    return m_blocks.capacity() * sizeof m_blocks[0] + static_cast<std::size_t>(held) * sizeof(Block) +
           m_slots.capacity() * sizeof m_slots[0];
}

// Finds slots of an array by the hash of their contents, with four bytes a place. The array alone keeps the contents.
//
// Not locked: the owner guards it, also for look-ups.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

class SlotTable
{
public:
    using Slot = std::uint32_t;
    static constexpr Slot None = ~Slot(0);

    std::size_t Size() const { return m_size; }
    // Returns how many places finding and removing have looked at.
    std::uint64_t PlacesVisited() const { return m_visited; }

    // Returns the slot with this hash for which `matches` returns true, or None.
    template <typename Matches>
    Slot Find(std::uint64_t hash, Matches matches) const
    {
        const std::size_t place = Look(hash, matches);
        return place == nowhere ? None : m_places[place];
    }

    // Adds a slot. `hashOf` returns the hash of a slot's contents. When std::bad_alloc is thrown, nothing has changed.
    template <typename HashOf>
    void Insert(std::uint64_t hash, Slot slot, HashOf hashOf)
    {
        if ((m_size + 1) * 4 > m_places.size() * 3)
            Grow(hashOf);
        Put(m_places, hash, slot);
        ++m_size;
    }

    template <typename HashOf>
    void Erase(std::uint64_t hash, Slot slot, HashOf hashOf)
    {
        const std::size_t place = Look(hash, [&](Slot other) { return other == slot; });
        if (place == nowhere)
            return;
        Close(place, hashOf);
        --m_size;
    }

private:
    static constexpr std::size_t nowhere = ~std::size_t(0);
    static constexpr std::size_t leastPlaces = 16;
    using Places = std::vector<Slot>; // their number is a power of two

    // Keys need not be well mixed. Users can choose names by their keys: a secret of the process prevents that they
    // choose the places, too.
    static std::size_t Home(const Places& places, std::uint64_t hash)
    {
        hash ^= s_secret;
        hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDull;
        hash = (hash ^ (hash >> 33)) * 0xC4CEB9FE1A85EC53ull;
        return static_cast<std::size_t>(hash ^ (hash >> 33)) & (places.size() - 1);
    }

    template <typename Matches>
    std::size_t Look(std::uint64_t hash, Matches matches) const
    {
        if (m_places.empty())
            return nowhere;
        for (std::size_t at = Home(m_places, hash);; at = (at + 1) & (m_places.size() - 1)) {
            ++m_visited;
            if (m_places[at] == None)
                return nowhere;
            if (matches(m_places[at]))
                return at;
        }
    }

    static void Put(Places& places, std::uint64_t hash, Slot slot)
    {
        std::size_t at = Home(places, hash);
        while (places[at] != None)
            at = (at + 1) & (places.size() - 1);
        places[at] = slot;
    }

    template <typename HashOf>
    void Grow(HashOf hashOf)
    {
        Places larger(std::max(leastPlaces, m_places.size() * 2), None);
        for (const Slot slot : m_places)
            if (slot != None)
                Put(larger, hashOf(slot), slot);
        m_places.swap(larger);
    }

    // Moves the slots behind a gap up, except those whose home is behind the gap: so no mark is left behind.
    template <typename HashOf>
    void Close(std::size_t gap, HashOf hashOf)
    {
        const std::size_t mask = m_places.size() - 1;
        for (std::size_t at = (gap + 1) & mask; m_places[at] != None; at = (at + 1) & mask) {
            ++m_visited;
            const std::size_t home = Home(m_places, hashOf(m_places[at]));
            if (((at - home) & mask) < ((at - gap) & mask))
                continue;
            m_places[gap] = m_places[at];
            gap = at;
        }
        m_places[gap] = None;
    }

    static inline const std::uint64_t s_secret = std::uint64_t(std::random_device()()) << 32 | std::random_device()();

    Places m_places;
    std::size_t m_size = 0;
    mutable std::uint64_t m_visited = 0;
};

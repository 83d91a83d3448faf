// Finds the rules whose path begins a path, without visiting the others.
//
// A hash table contains the distinct paths of the rules. A path is hashed once, unit by unit, and the table is searched
// where a rule's path can end: usually after a backslash, elsewhere only at lengths that rules have. So a search costs
// the length of the path and the rules that it finds, however many rules there are.
//
// Portable. Immutable; any thread. It knows rules by their numbers in the list: neither the list nor the paths and
// masks of its rules may change while it is used.
#pragma once

#include "orbwatcher4/filter/EndingSet.h"
#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/FoldedTexts.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

class RuleIndex
{
public:
    explicit RuleIndex(const FilterList& rules);

    // The numbers of the rules whose path begins a path, without regard to case, by units and not by components. A rule
    // for a single file is returned only when its path is the whole one.
    class Matches
    {
    public:
        Matches(const RuleIndex& index, std::wstring_view path);
        Matches(const Matches&) = delete;
        Matches& operator=(const Matches&) = delete;

        // Returns the next number in rising order; false when there is none.
        bool Next(std::uint32_t& number);
        // Returns the number of places of the table that were visited.
        std::size_t Looks() const { return m_looks; }

    private:
        // The rules of one path that are left.
        struct Run {
            const std::uint32_t* next;
            const std::uint32_t* end;
        };

        void Find(std::wstring_view path, char16_t* folded);
        void Take(std::u16string_view folded, std::uint64_t hash);

        const RuleIndex& m_index;
        std::array<Run, 16> m_few; // enough for nearly every path; the others are in m_many
        std::vector<Run> m_many;
        Run* m_runs = m_few.data();
        std::size_t m_count = 0;
        std::size_t m_looks = 0;
    };

    // Returns true when the path of an including rule begins with `folder`, which ends in a backslash, and is longer.
    // Costs the length of `folder`. Two folders of the same hash could make it true without such a rule.
    bool IncludesBelow(std::wstring_view folder) const;

    // The endings of the rule's mask where it has very many; null where its entries are looked at one by one.
    const EndingSet* EndingsOf(std::uint32_t number) const;

private:
    // The rules of one path.
    struct Key {
        std::uint32_t first = 0; // place in m_numbers
        std::uint32_t count = 0;
        bool begins = false; // also longer paths: it is the path of a folder's rule
    };

    std::uint32_t KeyOf(const Filter& rule);
    void NoteFoldersAbove(const Filter& rule);
    void SortNumbers(const std::vector<std::uint32_t>& keys);
    void NoteLengths();
    void CollectEndings(const FilterList& rules);
    bool MayEndAt(std::wstring_view path, std::size_t length) const;

    FoldedTexts m_paths;
    std::vector<Key> m_keys; // by number of the path
    std::vector<std::uint32_t> m_numbers;
    std::unordered_set<std::uint64_t> m_aboveIncludes; // hashes of the folders above the paths of including rules
    // By length: bit 0, a folder's path of that length ends in a backslash; bit 1, in something else.
    std::vector<std::uint8_t> m_ends;
    std::vector<std::pair<std::uint32_t, std::shared_ptr<const EndingSet>>> m_endings; // by number of the rule
};

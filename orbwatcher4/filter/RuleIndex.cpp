#include "orbwatcher4/filter/RuleIndex.h"

#include <algorithm>
#include <unordered_map>

namespace
{

constexpr std::uint8_t AfterBackslash = 1;
constexpr std::uint8_t Elsewhere = 2;
// Up to this number, visiting one entry after the other is as fast.
constexpr std::ptrdiff_t FewEntries = 12;

} // namespace

RuleIndex::RuleIndex(const FilterList& rules) : m_paths(rules.size())
{
    std::vector<std::uint32_t> keys;
    keys.reserve(rules.size());
    for (const FilterPtr& rule : rules) {
        keys.push_back(KeyOf(*rule));
        if (rule->incEx == WatcherEnum::Include)
            NoteFoldersAbove(*rule);
    }
    SortNumbers(keys);
    NoteLengths();
    CollectEndings(rules);
}

// Returns the number of the rule's path; adds a new path.
std::uint32_t RuleIndex::KeyOf(const Filter& rule)
{
    const std::uint32_t number = m_paths.Add(rule.path.View());
    if (number == m_keys.size())
        m_keys.emplace_back();
    Key& key = m_keys[number];
    ++key.count;
    key.begins = key.begins || rule.type != 0;
    return number;
}

void RuleIndex::NoteFoldersAbove(const Filter& rule)
{
    const std::uint16_t* const upper = UpperUnits();
    const std::wstring_view path = rule.path.View();
    std::uint64_t hash = FoldedHashSeed;
    std::vector<std::uint64_t> folders;
    for (std::size_t at = 0; at + 1 < path.size(); ++at) {
        hash = MixFolded(hash, upper[static_cast<std::uint16_t>(path[at])]);
        if (path[at] == L'\\')
            folders.push_back(hash);
    }
    // The folders above a known folder are known, too.
    while (!folders.empty() && m_aboveIncludes.insert(folders.back()).second)
        folders.pop_back();
}

bool RuleIndex::IncludesBelow(std::wstring_view folder) const
{
    const std::uint16_t* const upper = UpperUnits();
    std::uint64_t hash = FoldedHashSeed;
    for (const wchar_t unit : folder)
        hash = MixFolded(hash, upper[static_cast<std::uint16_t>(unit)]);
    return m_aboveIncludes.contains(hash);
}

// Puts the rules of one path side by side, in the order of the list.
void RuleIndex::SortNumbers(const std::vector<std::uint32_t>& keys)
{
    std::uint32_t first = 0;
    for (Key& key : m_keys) {
        key.first = first;
        first += key.count;
        key.count = 0;
    }
    m_numbers.resize(keys.size());
    for (std::uint32_t number = 0; number < keys.size(); ++number) {
        Key& key = m_keys[keys[number]];
        m_numbers[key.first + key.count++] = number;
    }
}

void RuleIndex::NoteLengths()
{
    for (std::uint32_t number = 0; number < m_keys.size(); ++number) {
        const std::u16string_view path = m_paths.Text(number);
        if (m_ends.size() <= path.size())
            m_ends.resize(path.size() + 1);
        if (m_keys[number].begins)
            m_ends[path.size()] |= path.ends_with(u'\\') ? AfterBackslash : Elsewhere;
    }
}

// Very many rules often share one list of endings.
void RuleIndex::CollectEndings(const FilterList& rules)
{
    std::unordered_map<std::wstring_view, std::shared_ptr<const EndingSet>> known;
    for (std::uint32_t number = 0; number < rules.size(); ++number) {
        const std::wstring_view mask = rules[number]->mask.View();
        if (rules[number]->isregex || std::count(mask.begin(), mask.end(), L';') < FewEntries)
            continue;
        auto& endings = known[mask];
        if (!endings)
            endings = std::make_shared<const EndingSet>(mask);
        m_endings.emplace_back(number, endings);
    }
}

const EndingSet* RuleIndex::EndingsOf(std::uint32_t number) const
{
    const auto found = std::ranges::lower_bound(m_endings, number, {}, [](const auto& one) { return one.first; });
    return found != m_endings.end() && found->first == number ? found->second.get() : nullptr;
}

bool RuleIndex::MayEndAt(std::wstring_view path, std::size_t length) const
{
    if (length == path.size())
        return true;
    const bool behindBackslash = length > 0 && path[length - 1] == L'\\';
    return (m_ends[length] & (behindBackslash ? AfterBackslash : Elsewhere)) != 0;
}

RuleIndex::Matches::Matches(const RuleIndex& index, std::wstring_view path) : m_index(index)
{
    std::array<char16_t, 512> few;
    std::u16string many;
    if (path.size() > few.size())
        many.resize(path.size());
    Find(path, many.empty() ? few.data() : many.data());
}

void RuleIndex::Matches::Find(std::wstring_view path, char16_t* folded)
{
    if (m_index.m_ends.empty())
        return;
    const std::uint16_t* const upper = UpperUnits();
    const std::size_t longest = std::min(path.size(), m_index.m_ends.size() - 1);
    std::uint64_t hash = FoldedHashSeed;
    if (m_index.MayEndAt(path, 0))
        Take({}, hash);
    for (std::size_t at = 0; at < longest; ++at) {
        folded[at] = upper[static_cast<std::uint16_t>(path[at])];
        hash = MixFolded(hash, folded[at]);
        if (m_index.MayEndAt(path, at + 1))
            Take({folded, at + 1}, hash);
    }
}

void RuleIndex::Matches::Take(std::u16string_view folded, std::uint64_t hash)
{
    const std::uint32_t number = m_index.m_paths.Find(folded, hash, m_looks);
    if (number == FoldedTexts::None)
        return;
    const Key& key = m_index.m_keys[number];
    const std::uint32_t* const first = m_index.m_numbers.data() + key.first;
    if (m_count == m_few.size())
        m_many.assign(m_few.begin(), m_few.end());
    if (m_count < m_few.size()) {
        m_few[m_count] = {first, first + key.count};
    } else {
        m_many.push_back({first, first + key.count});
        m_runs = m_many.data();
    }
    ++m_count;
}

bool RuleIndex::Matches::Next(std::uint32_t& number)
{
    Run* best = nullptr;
    for (Run* run = m_runs; run != m_runs + m_count; ++run)
        if (run->next != run->end && (!best || *run->next < *best->next))
            best = run;
    if (!best)
        return false;
    number = *best->next++;
    return true;
}

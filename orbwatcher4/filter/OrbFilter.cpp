#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"

#include "orbwatcher4/filter/Decisions.h"
#include "orbwatcher4/filter/DiskNames.h"
#include "orbwatcher4/filter/PathRoot.h"
#include "orbwatcher4/filter/VolumeTable.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"

#include <algorithm>

namespace
{

// Appends all rules or, when memory is exhausted, none.
void Append(RuleSet& rules, const FilterList& added, bool sort)
{
    if (!sort) {
        FilterList& list = rules.Edit();
        list.insert(list.end(), added.begin(), added.end());
        return;
    }
    FilterList all = rules.Rules();
    all.insert(all.end(), added.begin(), added.end());
    Decisions::SortRules(all);
    rules.Edit() = std::move(all);
}

template <typename Map>
void SortAll(Map& map)
{
    for (auto& [root, rules] : map)
        rules.Sort();
}

// Lower-cases A to Z only, which keeps the order of the roots: shares before drives.
std::uint16_t FoldedRootUnit(wchar_t unit)
{
    const std::uint16_t upper = UpperUnit(static_cast<std::uint16_t>(unit));
    return upper >= L'A' && upper <= L'Z' ? static_cast<std::uint16_t>(upper + (L'a' - L'A')) : upper;
}

// Returns true for a path like C:\folder, whose first three units are its root. For other paths, and when a second
// colon or backslash makes the root unclear, the shell is asked: that takes longer than a decision.
bool IsPlainDrivePath(std::wstring_view path)
{
    const auto isLetter = [](wchar_t unit) { return (unit | 0x20) >= L'a' && (unit | 0x20) <= L'z'; };
    return path.size() > 3 && isLetter(path[0]) && path[1] == L':' && path[2] == L'\\' && path[3] != L'\\' &&
           std::count(path.begin() + 2, path.end(), L':') == 0;
}

} // namespace

bool RootBefore::Compare(std::wstring_view left, std::wstring_view right)
{
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](wchar_t x, wchar_t y) { return FoldedRootUnit(x) < FoldedRootUnit(y); });
}

OrbFilter::OrbFilter() = default;

OrbFilter::OrbFilter(const OrbFilter& other) : OrbFilter() { *this = other; }

OrbFilter& OrbFilter::operator=(const OrbFilter& other)
{
    if (this != &other) {
        m_driveRules = other.m_driveRules;
        // A map of its own, because the indexes of the other map are made on demand.
        m_advancedRules = other.m_advancedRules ? std::make_shared<RuleMap>(*other.m_advancedRules) : nullptr;
    }
    m_memory = other.m_memory;
    m_dataFile = other.m_dataFile;
    m_autoExcludeFile = other.m_autoExcludeFile;
    m_advancedFile = other.m_advancedFile;
    m_globalExclude = other.m_globalExclude;
    m_overlay = other.m_overlay;
    m_store = other.m_store;
    m_backupFolder = other.m_backupFolder;
    m_keptOut = other.m_keptOut;
    m_secondary = other.m_secondary;
    m_includeRoots = other.m_includeRoots;
    m_networkInclude = other.m_networkInclude;
    m_advancedUnread = other.m_advancedUnread;
    m_findings = other.m_findings;
    return *this;
}

OrbFilter::~OrbFilter() = default;

CString OrbFilter::StripToRoot(const wchar_t* path)
{
    return AtBoundary(L"OrbFilter::StripToRoot", CString(), [&]() -> CString {
        if (const std::wstring_view text = path ? path : L""; IsPlainDrivePath(text))
            return CString(text.substr(0, 3)).MakeLower();
        return PathRoot(path).MakeLower();
    });
}

CString OrbFilter::SystemForm(const wchar_t* path)
{
    const CString written = path;
    return AtBoundary(L"OrbFilter::SystemForm", written, [&] {
        DiskNames disk;
        return ComparableRulePath(written, &disk);
    });
}

template <typename Map>
auto OrbFilter::FindRules(Map& map, std::wstring_view path)
{
    const auto found = IsPlainDrivePath(path) ? map.find(path.substr(0, 3)) : map.find(StripToRoot(path.data()));
    return found == map.end() ? nullptr : &found->second;
}

const RuleSet* OrbFilter::RulesOfPath(const RuleMap& map, std::wstring_view path) { return FindRules(map, path); }

RuleSet& OrbFilter::RulesForPath(RuleMap& map, std::wstring_view path)
{
    RuleSet* const found = FindRules(map, path);
    return found ? *found : map[StripToRoot(path.data())];
}

bool OrbFilter::AddSingleFilter(const FilterPtr& rule, bool sort)
{
    return AtBoundary(L"OrbFilter::AddSingleFilter", false, [&]() -> bool {
        // Everything that can fail comes before the rule is added.
        FilterList added;
        if (!m_includeRoots.empty() && rule->incEx == WatcherEnum::Include &&
            !(rule->flags & RuleFlags::DedupCandidate)) {
            const CString root = WithBackslash(StripToRoot(rule->path));
            // An include of a whole drive also applies to each folder of the list on that drive.
            if (EqualNoCase(rule->path.View(), root.View()))
                for (const CString& folder : m_includeRoots)
                    if (BeginsNoCase(folder.View(), root.View())) {
                        auto copy = std::make_shared<Filter>(*rule);
                        copy->path = folder;
                        added.push_back(std::move(copy));
                    }
        }
        added.push_back(rule);
        Append(RulesForPath(m_driveRules, rule->path.View()), added, sort);
        return true;
    });
}

bool OrbFilter::AddAdvancedFilter(const FilterPtr& rule, bool sort)
{
    return AtBoundary(L"OrbFilter::AddAdvancedFilter", false, [&]() -> bool {
        const bool everywhere = EqualNoCase(rule->path.View(), AllPaths);
        RuleSet& rules = EditAdvancedMap()[everywhere ? CString(AllPaths) : StripToRoot(rule->path)];
        Append(rules, {rule}, sort);
        return true;
    });
}

void OrbFilter::Sort()
{
    AtBoundary(L"OrbFilter::Sort", [&] { SortAll(m_driveRules); });
}
void OrbFilter::SortAdvancedFilters()
{
    AtBoundary(L"OrbFilter::SortAdvancedFilters", [&] {
        if (m_advancedRules)
            SortAll(EditAdvancedMap());
    });
}

bool OrbFilter::UpdateFilterProfileIDs(__int64 oldId, __int64 newId)
{
    for (auto& [root, rules] : m_driveRules)
        for (const FilterPtr& rule : rules.Rules())
            if (rule->pluginId == oldId)
                rule->pluginId = static_cast<std::int32_t>(newId);
    return true;
}

bool OrbFilter::MoveDriveRules(const wchar_t* from, const wchar_t* to)
{
    return AtBoundary(L"OrbFilter::MoveDriveRules", false, [&]() -> bool {
        const CString oldRoot = StripToRoot(from);
        const CString newRoot = StripToRoot(to);
        const auto found = m_driveRules.find(oldRoot);
        if (found == m_driveRules.end() || oldRoot == newRoot)
            return false;
        // Another thread may use the rules as they are, so the moved ones are new.
        FilterList moved;
        for (const FilterPtr& rule : found->second.Rules()) {
            auto copy = std::make_shared<Filter>(*rule);
            ChangeRoot(copy->path.MakeLower(), oldRoot, newRoot);
            moved.push_back(std::move(copy));
        }
        Append(m_driveRules[newRoot], moved, true);
        m_driveRules.erase(found);
        return true;
    });
}

void OrbFilter::ClearAll()
{
    m_driveRules.clear();
    m_advancedRules.reset();
}

void OrbFilter::PrepareToReplace(const OrbFilter& held)
{
    AtBoundary(L"OrbFilter::PrepareToReplace", [&] {
        m_includeRoots = held.m_includeRoots;
        KeepOutAs(held);
    });
}

void OrbFilter::TakeRulesFrom(OrbFilter& other)
{
    m_keptOut.Take(KeptOutPaths::Source::DataFolder, other.m_keptOut);
    m_driveRules.swap(other.m_driveRules);
    if (!other.m_advancedUnread)
        m_advancedRules.swap(other.m_advancedRules);
    m_dataFile = other.m_dataFile;
    m_autoExcludeFile = other.m_autoExcludeFile;
    m_advancedFile = other.m_advancedFile;
    m_globalExclude = other.m_globalExclude;
    m_backupFolder = other.m_backupFolder;
    m_networkInclude = other.m_networkInclude;
    m_findings = other.m_findings;
}

const RuleMap& OrbFilter::AdvancedMap() const
{
    static const RuleMap none;
    return m_advancedRules ? *m_advancedRules : none;
}

RuleMap& OrbFilter::EditAdvancedMap()
{
    if (!m_advancedRules)
        m_advancedRules = std::make_shared<RuleMap>();
    else if (m_advancedRules.use_count() > 1)
        m_advancedRules = std::make_shared<RuleMap>(*m_advancedRules);
    return *m_advancedRules;
}

bool OrbFilter::HasRules() const
{
    for (const auto& [root, rules] : m_driveRules)
        if (!rules.IsEmpty())
            return true;
    return false;
}

unsigned __int64 OrbFilter::GetTotalItems() { return m_store ? m_store->end - m_store->begin : 0; }

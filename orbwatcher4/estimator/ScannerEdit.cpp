// Edits the estimated selection.
#include "orbwatcher4/Scanner.h"
#include "orbwatcher4/estimator/DriveScans.h"
#include "orbwatcher4/estimator/EntryTree.h"
#include "orbwatcher4/estimator/Statistics.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/QuietErrors.h"

#include <algorithm>

namespace
{

FilterPtr MakeRule(int profile, const CString& path, const CString& mask, bool include, bool recursive)
{
    auto rule = std::make_shared<Filter>();
    rule->path = path;
    rule->mask = mask;
    rule->pluginId = profile;
    rule->includeSub = recursive;
    rule->incEx = include ? WatcherEnum::Include : WatcherEnum::Exclude;
    rule->exclude = !include;
    rule->type = EndsInBackslash(path) ? 1 : 0;
    rule->volumeFound = true;
    return rule;
}

} // namespace

void Scanner::AddPath(const wchar_t* path, bool recursive)
{
    AtBoundary(L"Scanner::AddPath", [&] { SetPath(ManualPathsProfile, path, L"", true, recursive); });
}

void Scanner::AddPath(std::vector<CString> paths, bool recursive)
{
    AtBoundary(L"Scanner::AddPath", [&] { SetPath(ManualPathsProfile, std::move(paths), L"", true, recursive); });
}

void Scanner::RemovePath(const wchar_t* path, bool recursive)
{
    AtBoundary(L"Scanner::RemovePath", [&] { SetPath(ManualPathsProfile, path, L"", false, recursive); });
}

void Scanner::RemovePath(std::vector<CString> paths, bool recursive)
{
    AtBoundary(L"Scanner::RemovePath", [&] { SetPath(ManualPathsProfile, std::move(paths), L"", false, recursive); });
}

void Scanner::SetPath(int profile, const wchar_t* path, const wchar_t* mask, bool include, bool recursive)
{
    SetPath(profile, std::vector<CString>{path}, mask, include, recursive);
}

void Scanner::SetPath(int profile, std::vector<CString> paths, const wchar_t* mask, bool include, bool recursive)
{
    WaitForScans();
    for (const CString& written : paths) {
        const CString path = OrbFilter::SystemForm(written);
        const FilterPtr rule = MakeRule(profile, path, mask, include, recursive);
        const Edit edit = PlanEdit(*rule);
        if (edit.known)
            continue;
        for (const FilterPtr& outdated : edit.outdated)
            m_selection.RemoveSingleFilter(outdated, false, false);
        if (edit.add) {
            m_selection.AddSingleFilter(rule, !include);
            if (include)
                m_selection.AddSingleFilter(GenerateExcludeRules(rule), true);
        }
        ScanUncached(path, recursive);
    }
}

// Plans which rules give way: each rule for the path, and for any path that begins with it, even if a folder's name
// only begins alike. All rules are judged before one is removed: if the very rule exists already, nothing changes.
Scanner::Edit Scanner::PlanEdit(const Filter& rule) const
{
    Edit edit;
    for (const FilterPtr& held : m_selection.RulesOf(rule.path)) {
        if (held->pluginId != rule.pluginId || !BeginsNoCase(held->path.View(), rule.path.View()))
            continue;
        const bool equal = held->path.GetLength() == rule.path.GetLength();
        if (equal && held->incEx == rule.incEx)
            edit.known = true;
        // Taking back an include leaves nothing to exclude.
        if (equal && rule.incEx == WatcherEnum::Exclude)
            edit.add = false;
        edit.outdated.push_back(held);
    }
    return edit;
}

FilterPtr Scanner::GenerateExcludeRules(FilterPtr rule) const
{
    const FilterPtr companion = MakeRule(FileFolderFilterProfile, rule->path, m_fileFolderFilter, false, true);
    companion->type = 1;
    return companion;
}

void Scanner::ScanUncached(const CString& path, bool recursive)
{
    if (IsPathCached(m_entryCache, path))
        return;
    m_calculating = true;
    const QuietErrors quiet;
    m_allFilters.ScanDirectory(path, L"*", m_includeHidden, this, recursive, m_tally.get());
}

bool Scanner::ScanPath(const wchar_t* path, bool recursive)
{
    return AtBoundary(L"Scanner::ScanPath", false, [&]() -> bool {
        WaitForScans();
        const QuietErrors quiet;
        ScanLists lists;
        const CString text = path;
        if (EndsInBackslash(text))
            lists.roots.push_back({text, recursive});
        else
            lists.files.push_back(text);
        m_allFilters.ClearJunctionCache();
        const bool whole = m_allFilters.ScanSelection(lists, L"*", m_includeHidden, this, *m_stopEvent, m_tally.get());
        if (!whole)
            m_allFilters.ClearJunctionCache();
        return whole;
    });
}

FilterList Scanner::RulesOfProfiles(const std::vector<int>& profiles) const
{
    FilterList rules;
    for (const FilterPtr& rule : m_allFilters.AllRules())
        rules.insert(rules.end(), std::count(profiles.begin(), profiles.end(), rule->pluginId), rule);
    return rules;
}

void Scanner::AddProfile(int profile)
{
    AtBoundary(L"Scanner::AddProfile", [&] { AddProfile(std::vector<int>{profile}); });
}

void Scanner::AddProfile(const std::vector<int>& profiles)
{
    AtBoundary(L"Scanner::AddProfile", [&] {
        for (const FilterPtr& rule : RulesOfProfiles(profiles))
            m_selection.AddSingleFilter(rule, false);
        m_selection.Sort(); // once: sorting after each rule would take quadratic time
    });
}

void Scanner::RemoveProfile(int profile)
{
    AtBoundary(L"Scanner::RemoveProfile", [&] { RemoveProfile(std::vector<int>{profile}); });
}

void Scanner::RemoveProfile(const std::vector<int>& profiles)
{
    AtBoundary(L"Scanner::RemoveProfile", [&] {
        FilterAccess::RemoveEqual(m_selection, RulesOfProfiles(profiles));
    });
}

void Scanner::EditProfile(int profile, const wchar_t* mask, const std::vector<CString>& paths)
{
    AtBoundary(L"Scanner::EditProfile", [&] {
        RemoveProfile(profile);
        SetPath(profile, paths, mask, true, true);
    });
}

#include "host/Selection.h"

#include "companions/settings/DataFolder.h"
#include "support/Backslash.h"
#include "support/NoCaseKeys.h"
#include "support/SystemPath.h"
#include "support/VolumeSerial.h"

#include <algorithm>
#include <set>
#include <utility>

namespace
{

// Returns true when the file or folder that the rule names is not there, or something of the other kind is.
bool IsMissing(const Filter& rule)
{
    const bool folder = rule.type != 0;
    const DWORD attributes = GetFileAttributesW(SystemPath(rule.path));
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return folder != ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
           error == ERROR_DIRECTORY; // a file stands there
}

// An item with a mask gives two rules with one path.
std::vector<PassedOverPath> WithoutTwins(std::vector<PassedOverPath> paths)
{
    std::set<CString, NoCase::Before> known;
    std::erase_if(paths, [&](const PassedOverPath& path) { return !known.insert(path.path).second; });
    return paths;
}

// Judges as a watch does: a drive for which no volume is recorded may hold any.
bool IsThere(const CString& root, const DriveGuidInfo& drive)
{
    return GetFileAttributesW(root) != INVALID_FILE_ATTRIBUTES && HoldsVolume(root, drive.serial);
}

// Returns true when the exclusion leaves nothing of what the rule includes.
bool LeavesNothingOf(const Filter& exclusion, const Filter& rule)
{
    return exclusion.incEx == WatcherEnum::Exclude && (exclusion.type != 0) == (rule.type != 0) &&
           (exclusion.includeSub || !rule.includeSub) && EqualNoCase(exclusion.path.View(), rule.path.View()) &&
           EqualNoCase(exclusion.mask.View(), rule.mask.View());
}

} // namespace

bool IsAmong(const std::vector<CString>& roots, const CString& root)
{
    return std::any_of(roots.begin(), roots.end(),
                       [&](const CString& other) { return EqualNoCase(other.View(), root.View()); });
}

void KeptOutside::TellFilter(OrbFilter& filter) const
{
    filter.SetDestination(destination.c_str());
    filter.SetDatabases({index.c_str()});
    filter.SetOwnFiles({written.begin(), written.end()});
}

SelectionView::SelectionView(const SelectionFiles& files, const KeptOutside& outside)
    : m_keptOut(outside.folders),
      m_hasSecondary(!files.secondary.empty())
{
    outside.TellFilter(m_filter);
    m_filter.LoadXmlFilters(files.data.c_str(), files.autoExclude.c_str(), nullptr);
}

KeptOut SelectionView::WhyKeptOut(const std::wstring& path) const
{
    for (const KeptOutside::Folder& folder : m_keptOut)
        if (BeginsNoCase(path, folder.path))
            return folder.why;
    return m_filter.WhyKeptOut(path.c_str());
}

bool SelectionView::IsInDataFolder(const std::wstring& path) const
{
    const bool named = std::ranges::any_of(m_keptOut, [&](const KeptOutside::Folder& folder) {
        return folder.why == KeptOut::OwnFile && BeginsNoCase(path, folder.path);
    });
    return named || BeginsNoCase(path, WithBackslash(OrbFilter::SystemForm(DataFolder::Path())).View());
}

std::wstring SelectionView::WhyInVain(const Filter& rule) const
{
    const std::wstring path = rule.path.GetString();
    switch (WhyKeptOut(path)) {
    case KeptOut::Destination:
        return path + L" is in the backup destination";
    case KeptOut::OwnFile:
        return path + (IsInDataFolder(path) ? L" is in the data folder, of which nothing is backed up; use another one"
                                            : L" is the product's own");
    case KeptOut::No:
        break;
    }
    const FilterList others = m_filter.RulesOf(rule.path);
    const bool excluded =
        std::ranges::any_of(others, [&](const FilterPtr& other) { return LeavesNothingOf(*other, rule); });
    const bool selected = !excluded && (m_filter.CheckForInclusion(rule.path, nullptr, false, false) == Included ||
                                        (rule.type != 0 && m_filter.MaySelectBelow(rule.path)));
    return selected ? std::wstring() : path + L" is excluded by another rule";
}

std::wstring SelectionView::WhyNothing() const
{
    constexpr std::size_t mostNamed = 3;
    constexpr const wchar_t* nothing = L"the selection includes nothing";
    constexpr const wchar_t* advice = L"; orbwatch explain says why a path is left out";
    std::vector<std::wstring> reasons;
    for (const FilterPtr& rule : m_filter.AllRules()) {
        if (rule->incEx != WatcherEnum::Include || rule->path.IsEmpty())
            continue;
        std::wstring reason = WhyInVain(*rule);
        if (reason.empty() || m_hasSecondary)
            return L"";
        if (std::ranges::find(reasons, reason) == reasons.end())
            reasons.push_back(std::move(reason));
    }
    if (reasons.empty())
        return std::wstring(nothing) + advice + L", and orbwatch init FOLDER writes a sample";
    std::wstring text = nothing;
    for (std::size_t i = 0; i < std::min(reasons.size(), mostNamed); ++i)
        text += (i == 0 ? L": " : L"; ") + reasons[i];
    if (reasons.size() > mostNamed)
        text += L"; and " + std::to_wstring(reasons.size() - mostNamed) + L" more";
    return text + advice;
}

std::vector<SelectionView::Root> SelectionView::Roots() const
{
    std::vector<Root> roots;
    for (const auto& [root, drive] : m_filter.GenerateDriveList())
        roots.push_back(
            {root, IsThere(root, drive), m_filter.RulesOf(root).size(), m_filter.IsDriveIncludeRules(root)});
    return roots;
}

FilterList SelectionView::RulesOfPresentRoots() const
{
    FilterList rules;
    for (const Root& root : Roots())
        if (root.there)
            for (const FilterPtr& rule : m_filter.RulesOf(root.path))
                rules.push_back(rule);
    return rules;
}

std::vector<SelectionView::Root> SelectionView::SelectedRoots(RecordWriter& writer)
{
    std::vector<Root> roots = Roots();
    std::erase_if(roots, [](const Root& root) { return !root.included; });
    if (const std::wstring nothing = WhyNothing(); !nothing.empty()) {
        writer.Note(nothing);
        roots.clear();
    }
    return roots;
}

bool SelectionView::TellWhatIsNotWatched(const std::vector<CString>& watched, RecordWriter& writer)
{
    const std::vector<Root> roots = SelectedRoots(writer);
    bool allWatched = !roots.empty();
    for (const Root& root : roots) {
        if (IsAmong(watched, root.path))
            continue;
        allWatched = false;
        writer.Note(root.there ? L"cannot be watched; it is tried again"
                               : L"the drive is not there, or holds another volume; it is watched when it comes",
                    root.path.GetString());
    }
    return allWatched;
}

bool SelectionView::TellWhatIsNotThere(RecordWriter& writer)
{
    const std::vector<Root> roots = SelectedRoots(writer);
    bool allThere = !roots.empty();
    for (const Root& root : roots)
        if (!root.there) {
            writer.Note(L"the drive is not there, or holds another volume; it is left out", root.path.GetString());
            allThere = false;
        }
    return allThere;
}

std::vector<PassedOverPath> SelectionView::IncludedInVain(AbsentRoots absent) const
{
    std::vector<PassedOverPath> paths;
    for (const Root& root : Roots()) {
        if (!root.there && root.included && absent == AbsentRoots::AreNamed)
            paths.push_back({root.path, PathOutcome::Missing});
        for (const FilterPtr& rule : m_filter.RulesOf(root.path)) {
            if (rule->incEx != WatcherEnum::Include || rule->path.IsEmpty())
                continue;
            const KeptOut keptOut = WhyKeptOut(rule->path.GetString());
            if (keptOut != KeptOut::No)
                paths.push_back(
                    {rule->path, keptOut == KeptOut::OwnFile ? PathOutcome::OwnFile : PathOutcome::BackupFolder});
            else if (root.there && IsMissing(*rule))
                paths.push_back({rule->path, PathOutcome::Missing});
        }
    }
    return WithoutTwins(std::move(paths));
}

std::vector<int> SelectionView::Profiles()
{
    std::set<int> profiles;
    for (const auto& [root, drive] : m_filter.GenerateDriveList())
        for (const FilterPtr& rule : m_filter.RulesOf(root))
            if (!(rule->flags & RuleFlags::AutoExclude))
                profiles.insert(rule->pluginId);
    return {profiles.begin(), profiles.end()};
}

std::vector<SelectionView::Folder> SelectionView::IncludedFolders()
{
    std::vector<Folder> folders;
    for (const auto& [root, drive] : m_filter.GenerateDriveList()) {
        for (const CString& folder : m_filter.GenerateDirectoryList(root, WatcherEnum::Include))
            folders.push_back({folder.GetString(), true});
        for (const CString& file : m_filter.GenerateFileList(root, WatcherEnum::Include))
            folders.push_back({file.Left(file.ReverseFind(L'\\') + 1).GetString(), false});
    }
    return folders;
}

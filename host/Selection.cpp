#include "host/Selection.h"

#include "companions/settings/DataFolder.h"
#include "host/Console.h"
#include "host/LibraryMessages.h"
#include "host/TextEncoding.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/SameFile.h"
#include "support/SystemPath.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

namespace
{

using Kind = RuleFinding::Kind;

constexpr std::size_t MostNotes = 20;
constexpr std::wstring_view WrongKind = L"the file is behind the wrong option: it holds ";

void AddFailure(SelectionFindings& findings, const std::wstring& text, const std::wstring& file, std::uint32_t line = 0)
{
    RuleFinding failure;
    failure.kind = Kind::FileUnread;
    failure.file = file.c_str();
    failure.line = line;
    failure.text = text.c_str();
    findings.inFiles.Add(failure);
}

bool IsGood(const SelectionFindings& findings) { return findings.inFiles.Count(Kind::FileUnread) == 0; }

// Returns why there is no file at this path; empty when there is one.
std::wstring WhyNoFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return attributes & FILE_ATTRIBUTE_DIRECTORY ? L"it is a folder, not a file" : L"";
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND
               ? L"the file is not there"
               : L"the file cannot be reached: " + SystemText(error);
}

// Returns the kind that a file has by its option.
std::wstring KindOf(const CString& file, const SelectionFiles& files)
{
    const auto is = [&](const std::wstring& path) { return path == file.View(); };
    if (is(files.data))
        return L"a selection";
    return is(files.autoExclude) ? L"automatic exclusions"
           : is(files.advanced)  ? L"advanced filters"
           : is(files.secondary) ? L"a second selection"
                                 : L"a selection";
}

bool HoldsNoExclusion(const std::wstring& file)
{
    OrbFilter reader;
    FilterList rules;
    reader.LoadXmlFilter(file.c_str(), false, &rules, false, false);
    return !rules.empty() && std::all_of(rules.begin(), rules.end(),
                                         [](const FilterPtr& rule) { return rule->incEx == WatcherEnum::Include; });
}

// A file behind the wrong option would be read, and would mean something else or nothing.
void AddWrongKinds(SelectionFindings& findings, const SelectionFiles& files)
{
    using FileKind = OrbFilter::FileKind;
    const auto tell = [&](const wchar_t* what, const std::wstring& file) {
        AddFailure(findings, std::wstring(WrongKind) + what, file);
    };
    const auto kindOf = [](const std::wstring& file) { return OrbFilter::KindOfFile(file.c_str()); };
    for (const std::wstring* file : {&files.data, &files.autoExclude, &files.secondary})
        if (!file->empty() && kindOf(*file) == FileKind::AdvancedFilters)
            tell(L"advanced filters; give it as --advanced", *file);
    if (!files.advanced.empty() &&
        (kindOf(files.advanced) == FileKind::Selection || IsSameFile(files.advanced.c_str(), files.data.c_str())))
        tell(L"a selection and no advanced filters; give it as --data", files.advanced);
    if (!files.autoExclude.empty() && IsGood(findings) && HoldsNoExclusion(files.autoExclude))
        tell(L"a selection and no exclusion at all; give it as --data", files.autoExclude);
}

// The library skips some of the files when they are missing.
SelectionFindings FindingsOfBytes(const SelectionFiles& files)
{
    SelectionFindings findings;
    for (const std::wstring* file : {&files.data, &files.autoExclude, &files.advanced, &files.secondary}) {
        if (file->empty())
            continue;
        if (const std::wstring why = WhyNoFile(*file); !why.empty())
            AddFailure(findings, why, *file);
        else if (const EncodingProblem problem = EncodingProblemOf(*file); !problem.text.empty())
            AddFailure(findings, problem.text, *file, problem.line);
    }
    if (IsGood(findings))
        AddWrongKinds(findings, files);
    return findings;
}

// `load` reads the files into the object that will hold the rules, and adds what it finds.
SelectionFindings FindingsOfLoading(const SelectionFiles& files, const std::function<bool(RuleFindings&)>& load)
{
    SelectionFindings findings = FindingsOfBytes(files);
    if (!IsGood(findings))
        return findings;
    LibraryMessages messages(LibraryMessages::Keep::Failures);
    const bool loaded = load(findings.inFiles);
    for (const LibraryMessages::Line& line : messages.Take())
        if (!line.finding && !IsToldByRecord(line.text))
            findings.others.push_back(line.text);
    if (!loaded && IsGood(findings))
        AddFailure(findings, L"what went wrong is in the log (orbwatch doctor says where)", files.data);
    return findings;
}

SelectionState Tell(const SelectionFindings& findings, const SelectionFiles& files, RecordWriter& writer)
{
    TellFindings(findings.inFiles, files, UnreadFiles::AreErrors, writer);
    for (const std::wstring& text : findings.others)
        writer.Note(text);
    if (!IsGood(findings))
        return SelectionState::Unusable;
    return findings.inFiles.ChangeTheSelection() ? SelectionState::Partly : SelectionState::Whole;
}

// Returns the findings that are told: of too many, those with the gravest consequences. They stay in their order.
std::vector<const RuleFinding*> FirstByKind(const std::vector<RuleFinding>& findings)
{
    std::vector<const RuleFinding*> first;
    for (const RuleFinding& finding : findings)
        first.push_back(&finding);
    std::ranges::stable_sort(first, {}, &RuleFinding::kind);
    const auto unread = std::ranges::count(first, Kind::FileUnread, &RuleFinding::kind);
    first.resize(std::min(first.size(), static_cast<std::size_t>(unread) + MostNotes));
    std::ranges::sort(first); // all are in one array
    return first;
}

bool IsAmong(const std::vector<CString>& roots, const CString& root)
{
    return std::any_of(roots.begin(), roots.end(),
                       [&](const CString& other) { return EqualNoCase(other.View(), root.View()); });
}

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
    const auto before = [](const CString& left, const CString& right) {
        return CompareNoCase(left.View(), right.View()) < 0;
    };
    std::set<CString, decltype(before)> known(before);
    std::erase_if(paths, [&](const PassedOverPath& path) { return !known.insert(path.path).second; });
    return paths;
}

// Judges as a watch does: a drive for which no volume is recorded may hold any.
bool IsThere(const CString& root, const DriveGuidInfo& drive)
{
    if (GetFileAttributesW(root) == INVALID_FILE_ATTRIBUTES)
        return false;
    DWORD serial = 0;
    return drive.serial == 0 ||
           (GetVolumeInformationW(WithBackslash(root), nullptr, 0, &serial, nullptr, nullptr, nullptr, 0) &&
            static_cast<std::int32_t>(serial) == drive.serial);
}

// Returns true when the exclusion leaves nothing of what the rule includes.
bool LeavesNothingOf(const Filter& exclusion, const Filter& rule)
{
    return exclusion.incEx == WatcherEnum::Exclude && (exclusion.type != 0) == (rule.type != 0) &&
           (exclusion.includeSub || !rule.includeSub) && EqualNoCase(exclusion.path.View(), rule.path.View()) &&
           EqualNoCase(exclusion.mask.View(), rule.mask.View());
}

} // namespace

std::wstring TextOf(const RuleFinding& finding, const SelectionFiles& files)
{
    std::wstring text(finding.Message().View());
    if (text.starts_with(WrongKind))
        return text;
    return finding.kind == Kind::FileUnread ? L"cannot be read as " + KindOf(finding.file, files) + L": " + text +
                                                  L"; orbwatch init FOLDER writes a sample"
                                            : text;
}

std::wstring MoreFindings(std::size_t count)
{
    return L"and " + std::to_wstring(count) + (count == 1 ? L" more" : L" more like these");
}

void TellFindings(const RuleFindings& findings, const SelectionFiles& files, UnreadFiles unread, RecordWriter& writer)
{
    const std::vector<const RuleFinding*> told = FirstByKind(findings.Kept());
    for (const RuleFinding* finding : told)
        if (finding->kind == Kind::FileUnread && unread == UnreadFiles::AreErrors)
            writer.Error(TextOf(*finding, files), finding->file.GetString());
        else
            writer.Note(TextOf(*finding, files), finding->file.GetString());
    const std::size_t more = findings.More() + findings.Kept().size() - told.size();
    if (more != 0)
        writer.Note(MoreFindings(more) + L" in the selection; orbwatch doctor lists them");
}

SelectionState LoadSelection(COrbWatcher& watcher, const SelectionFiles& files, RecordWriter& writer)
{
    const auto load = [&](RuleFindings& findings) {
        watcher.SetDataXMLFiles(files.data.c_str(), files.autoExclude.c_str(), files.advanced.c_str());
        watcher.SetSecondaryXMLFile(files.secondary.c_str(), nullptr);
        const bool loaded = watcher.LoadSelection();
        findings.Append(watcher.TakeSelectionFindings());
        return loaded;
    };
    return Tell(FindingsOfLoading(files, load), files, writer);
}

SelectionFindings FindingsOf(const SelectionFiles& files)
{
    return FindingsOfLoading(files, [&](RuleFindings& findings) {
        OrbFilter filter, secondary;
        const bool loaded =
            filter.LoadXmlFilters(files.data.c_str(), files.autoExclude.c_str(), files.advanced.c_str()) &&
            secondary.LoadXmlFilters(files.secondary.c_str(), nullptr, nullptr);
        findings.Append(filter.Findings());
        findings.Append(secondary.Findings());
        return loaded;
    });
}

SelectionState Examine(const SelectionFiles& files, RecordWriter& writer)
{
    return Tell(FindingsOf(files), files, writer);
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

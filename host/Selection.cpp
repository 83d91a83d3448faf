#include "host/Selection.h"

#include "host/Console.h"
#include "host/LibraryMessages.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

namespace
{

using Kind = RuleFinding::Kind;

constexpr std::size_t MostNotes = 20;

void AddFailure(SelectionFindings& findings, const wchar_t* text, const std::wstring& file)
{
    RuleFinding failure;
    failure.kind = Kind::FileUnread;
    failure.file = file.c_str();
    failure.text = text;
    findings.inFiles.Add(failure);
}

bool IsGood(const SelectionFindings& findings) { return findings.inFiles.Count(Kind::FileUnread) == 0; }

bool IsFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// A byte that is no UTF-8 would make a rule mean another path, without a message.
bool IsReadableText(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    std::string bytes(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    file.seekg(0).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes.starts_with("\xFF\xFE") || IsUtf8(bytes);
}

// The library skips some of the files when they are missing.
SelectionFindings FindingsOfBytes(const SelectionFiles& files)
{
    SelectionFindings findings;
    for (const std::wstring* file : {&files.data, &files.autoExclude, &files.advanced, &files.secondary})
        if (!file->empty() && !IsFile(*file))
            AddFailure(findings, L"the file is not there or cannot be reached", *file);
        else if (!file->empty() && !IsReadableText(*file))
            AddFailure(findings, L"it holds bytes that are no UTF-8; save it as UTF-8", *file);
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
        if (!line.finding)
            findings.others.push_back(line.text);
    if (!loaded && IsGood(findings))
        AddFailure(findings, L"what went wrong is in the log (orbwatch doctor says where)", files.data);
    return findings;
}

SelectionState Tell(const SelectionFindings& findings, RecordWriter& writer)
{
    TellFindings(findings.inFiles, UnreadFiles::AreErrors, writer);
    for (const std::wstring& text : findings.others)
        writer.Note(text);
    if (!IsGood(findings))
        return SelectionState::Unusable;
    return findings.inFiles.ChangeTheSelection() ? SelectionState::Partly : SelectionState::Whole;
}

bool IsAmong(const std::vector<CString>& roots, const CString& root)
{
    return std::any_of(roots.begin(), roots.end(),
                       [&](const CString& other) { return EqualNoCase(other.View(), root.View()); });
}

bool IsThere(const CString& root, const DriveGuidInfo& drive)
{
    return drive.volumeMatches && GetFileAttributesW(root) != INVALID_FILE_ATTRIBUTES;
}

} // namespace

std::wstring TextOf(const RuleFinding& finding)
{
    const std::wstring text(finding.Message().View());
    return finding.kind == Kind::FileUnread
               ? L"cannot be read as a selection: " + text + L"; orbwatch init FOLDER writes a sample"
               : text;
}

std::wstring MoreFindings(std::size_t count)
{
    return L"and " + std::to_wstring(count) + (count == 1 ? L" more" : L" more like these");
}

void TellFindings(const RuleFindings& findings, UnreadFiles unread, RecordWriter& writer)
{
    std::vector<RuleFinding> sorted = findings.Kept();
    std::ranges::stable_sort(sorted, {}, &RuleFinding::kind);
    std::size_t notes = 0;
    for (const RuleFinding& finding : sorted)
        if (finding.kind == Kind::FileUnread && unread == UnreadFiles::AreErrors)
            writer.Error(TextOf(finding), finding.file.GetString());
        else if (notes++ < MostNotes)
            writer.Note(TextOf(finding), finding.file.GetString());
    const std::size_t more = findings.More() + notes - std::min(notes, MostNotes);
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
    return Tell(FindingsOfLoading(files, load), writer);
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

SelectionState Examine(const SelectionFiles& files, RecordWriter& writer) { return Tell(FindingsOf(files), writer); }

SelectionView::SelectionView(const SelectionFiles& files)
{
    m_filter.LoadXmlFilters(files.data.c_str(), files.autoExclude.c_str(), nullptr);
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
    if (roots.empty())
        writer.Note(L"the selection includes nothing; orbwatch explain says why a path is left out");
    return roots;
}

bool SelectionView::TellWhatIsNotWatched(const std::vector<CString>& watched, RecordWriter& writer)
{
    bool allWatched = true;
    for (const Root& root : SelectedRoots(writer)) {
        if (IsAmong(watched, root.path))
            continue;
        allWatched = allWatched && !root.there;
        writer.Note(root.there ? L"cannot be watched; it is tried again"
                               : L"the drive is not there, or holds another volume; it is watched when it comes",
                    root.path.GetString());
    }
    return allWatched;
}

void SelectionView::TellWhatIsNotThere(RecordWriter& writer)
{
    for (const Root& root : SelectedRoots(writer))
        if (!root.there)
            writer.Note(L"the drive is not there, or holds another volume; it is left out", root.path.GetString());
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

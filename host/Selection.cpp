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

using Lines = std::vector<LibraryMessages::Line>;

// Returns the rest of line i after the prefix; empty when the line begins in another way.
std::wstring After(const Lines& lines, std::size_t i, const std::wstring& prefix)
{
    return i < lines.size() && lines[i].text.starts_with(prefix) ? lines[i].text.substr(prefix.size()) : L"";
}

bool IsGood(const SelectionFindings& findings)
{
    return std::none_of(findings.begin(), findings.end(), [](const SelectionFinding& one) { return one.failure; });
}

// The library logs why a file could not be read (a failure, the file, the reason), and what it skipped in the files
// that it read.
void AddLogged(const Lines& lines, SelectionFindings& findings)
{
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].level != LogLevel::Error)
            continue;
        const std::wstring file = After(lines, i + 1, L"File : ");
        if (!file.empty()) {
            const std::wstring reason = i + 2 < lines.size() ? lines[i + 2].text : std::wstring();
            findings.push_back(
                {true, L"cannot be read as a selection: " + reason + L"; orbwatch init FOLDER writes a sample", file});
            continue;
        }
        const std::wstring more = After(lines, i + 1, L"#####[ERROR]##### ");
        findings.push_back({false, lines[i].text + (more.empty() ? L"" : L": " + more), L""});
    }
}

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
            findings.push_back(
                {true, L"the file is not there or cannot be reached; orbwatch init FOLDER writes a sample", *file});
        else if (!file->empty() && !IsReadableText(*file))
            findings.push_back(
                {true, L"cannot be read as a selection: it holds bytes that are no UTF-8; save it as UTF-8", *file});
    return findings;
}

// `load` reads the files into the object that will hold the rules.
SelectionFindings FindingsOfLoading(const SelectionFiles& files, const std::function<bool()>& load)
{
    SelectionFindings findings = FindingsOfBytes(files);
    if (!findings.empty())
        return findings;
    LibraryMessages messages(LibraryMessages::Keep::Everything);
    const bool loaded = load();
    AddLogged(messages.Take(), findings);
    if (!loaded && IsGood(findings))
        findings.push_back({true,
                            L"the selection could not be loaded; what went wrong is in the log (orbwatch doctor says "
                            L"where)",
                            files.data});
    return findings;
}

// Returns true when there is no failure among them.
bool Tell(const SelectionFindings& findings, RecordWriter& writer)
{
    for (const SelectionFinding& finding : findings)
        finding.failure ? writer.Error(finding.message, finding.path) : writer.Note(finding.message, finding.path);
    return IsGood(findings);
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

bool LoadSelection(COrbWatcher& watcher, const SelectionFiles& files, RecordWriter& writer)
{
    const auto load = [&] {
        watcher.SetDataXMLFiles(files.data.c_str(), files.autoExclude.c_str(), files.advanced.c_str());
        watcher.SetSecondaryXMLFile(files.secondary.c_str(), nullptr);
        return watcher.LoadSelection();
    };
    return Tell(FindingsOfLoading(files, load), writer);
}

SelectionFindings FindingsOf(const SelectionFiles& files)
{
    return FindingsOfLoading(files, [&] {
        OrbFilter filter;
        return filter.LoadXmlFilters(files.data.c_str(), files.autoExclude.c_str(), files.advanced.c_str());
    });
}

bool CanBeLoaded(const SelectionFiles& files, RecordWriter& writer) { return Tell(FindingsOf(files), writer); }

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

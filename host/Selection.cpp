#include "host/Selection.h"

#include "host/Console.h"
#include "host/LibraryMessages.h"
#include "host/TextEncoding.h"
#include "support/SameFile.h"

#include <algorithm>
#include <functional>

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
    first.reserve(findings.size());
    for (const RuleFinding& finding : findings)
        first.push_back(&finding);
    std::ranges::stable_sort(first, {}, &RuleFinding::kind);
    const auto unread = std::ranges::count(first, Kind::FileUnread, &RuleFinding::kind);
    first.resize(std::min(first.size(), static_cast<std::size_t>(unread) + MostNotes));
    std::ranges::sort(first); // all are in one array
    return first;
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

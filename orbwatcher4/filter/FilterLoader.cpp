// Reads the selection: data file, automatic exclusions and advanced filters.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/Contradictions.h"
#include "orbwatcher4/filter/DiskNames.h"
#include "orbwatcher4/filter/ItemChecks.h"
#include "orbwatcher4/filter/RootVolumes.h"
#include "orbwatcher4/filter/RuleReader.h"
#include "orbwatcher4/filter/VolumeTable.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/QuietErrors.h"
#include "support/VolumeSerial.h"
#include "xml/Markup.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <string>
#include <utility>

namespace
{

// The source of the lines about files, items and values. They begin with the file.
constexpr const wchar_t* FindingSource = L"Selection";

template <typename... Arguments>
void LogError(int line, const wchar_t* format, Arguments... arguments)
{
    g_OrbLog.WriteLog(2, L"OrbFilter", line, format, arguments...);
}

// The findings of one file, in the list and in the log.
class FileFindings
{
public:
    FileFindings(const wchar_t* file, RuleFindings& findings)
        : m_file(file),
          m_findings(findings),
          m_before(findings.Kept().size())
    {
    }
    // Some were found on a second way through the file.
    ~FileFindings()
    {
        m_findings.SortByLine(m_before);
        if (m_more != 0)
            g_OrbLog.WriteLog(2, FindingSource, __LINE__, L"%s: %I64d more findings like these are not listed",
                              m_file.GetString(), static_cast<long long>(m_more));
    }
    FileFindings(const FileFindings&) = delete;
    FileFindings& operator=(const FileFindings&) = delete;

    void Add(RuleFinding::Kind kind, const TextPlace& place, std::uint32_t item, const std::wstring& text)
    {
        constexpr int information = 0;
        Add(kind, place, item, text, kind == RuleFinding::Kind::Suspicious ? information : Failure);
    }
    // A finding about the whole file.
    void AddGrave(const std::wstring& text) { Add(RuleFinding::Kind::Suspicious, {}, 0, text, Failure); }

private:
    static constexpr int Failure = 2; // severity of lines that are always logged

    void Add(RuleFinding::Kind kind, const TextPlace& place, std::uint32_t item, const std::wstring& text, int severity)
    {
        const RuleFinding finding{kind, m_file, place.line, place.column, item, CString(std::wstring_view(text))};
        if (!m_findings.Add(finding)) {
            ++m_more;
            return;
        }
        g_OrbLog.WriteLog(severity, FindingSource, __LINE__, L"%s: %s", m_file.GetString(),
                          finding.Message().GetString());
    }

    const CString m_file;
    RuleFindings& m_findings;
    const std::size_t m_before; // number of those of other files
    std::size_t m_more = 0;
};

class LoadingLog final : public RuleLog
{
public:
    LoadingLog(const CMarkup& document, FileFindings& findings) : m_document(document), m_findings(findings) {}

    void NextItem() { ++m_item; }
    std::uint32_t Item() const { return m_item; }

    void Found(RuleFinding::Kind kind, const std::wstring& text) override
    {
        m_findings.Add(kind, m_document.GetElementPlace(), m_item, text);
    }
    void FoundElement(const std::wstring& text)
    {
        m_findings.Add(RuleFinding::Kind::Suspicious, m_document.GetElementPlace(), 0, text);
    }

    void InfoTooLong(const CString& info) override
    {
        LogError(__LINE__, L"Failed to load Additional Info");
        g_OrbLog.Log(L"Text: %s", info.GetString());
    }

    void MaskTooLong() override { LogError(__LINE__, L"Extensions is bigger than buffer -- SKIP"); }

    void PatternRefused(const CString& error) override
    {
        LogError(__LINE__, L"Failed to create regex filter");
        g_OrbLog.Log(L"#####[ERROR]##### Regex Error: %s", error.GetString());
    }

private:
    const CMarkup& m_document;
    FileFindings& m_findings;
    std::uint32_t m_item = 0;
};

// The drives of this machine.
class MachineDrives final : public RuleDrives
{
public:
    bool networkInclude = false;

    void Includes(const CString& path) override { networkInclude = m_volumes.IsOnNetwork(path) || networkInclude; }
    void Relocate(Filter& rule, std::wstring_view vid) override { m_volumes.Relocate(rule, vid); }
    CString NameOf(const CString& path) override { return m_names.NameOf(path); }

private:
    VolumeTable m_volumes;
    DiskNames m_names;
};

// Opens a file and enters its root element. Reports the reason when that fails.
bool OpenRules(CMarkup& document, const wchar_t* file, const wchar_t* failure, FileFindings& findings)
{
    const bool loaded = document.Load(file) && document.GetParseError().IsEmpty();
    if (loaded && document.FindElement(L"Data") && document.EnterElement())
        return true;
    LogError(__LINE__, failure);
    g_OrbLog.Log(L"File : %s", file);
    const CString wrongRoot = L"The root element is not Data";
    g_OrbLog.Log(L"%s", loaded ? wrongRoot.GetString() : document.GetResult().GetString());
    const CString& reason = loaded                               ? wrongRoot
                            : document.GetParseError().IsEmpty() ? document.GetResult()
                                                                 : document.GetParseError();
    findings.Add(RuleFinding::Kind::FileUnread, document.GetParseErrorPlace(), 0, std::wstring(reason.View()));
    return false;
}

// Enters the root element again.
void Rewind(CMarkup& document)
{
    document.ResetPosition();
    document.FindElement(L"Data");
    document.EnterElement();
}

bool IsItem(std::wstring_view name) { return name == L"Item"; }

// Reports elements beside the items that are not read.
void CheckElement(const CMarkup& document, LoadingLog& log, bool advanced)
{
    const std::wstring_view name = document.GetElementName();
    if (name == L"GlobalExclude" && !advanced)
        log.FoundElement(L"GlobalExclude stands there again; the first one counts");
    else if (name != L"Plugin" && name != L"GlobalExclude")
        log.FoundElement(ItemChecks::OfElement(name));
}

// Moves to the GlobalExclude element. Items before it are not read; the cursor then stands before the first element
// when there is none.
bool FindGlobalExclude(CMarkup& document, LoadingLog& log)
{
    if (!document.FindElement(L"GlobalExclude"))
        return false;
    Rewind(document);
    while (document.NextElement() && document.GetElementName() != L"GlobalExclude")
        if (!IsItem(document.GetElementName())) {
            CheckElement(document, log, false);
        } else {
            log.NextItem();
            log.Found(RuleFinding::Kind::ItemRefused,
                      L"the item stands before GlobalExclude and is not read; GlobalExclude belongs to the top");
        }
    return true;
}

constexpr const wchar_t* SecondForAllPaths =
    L"there is another rule for all paths, and only one of them is applied: an exclusion before an inclusion, and then "
    L"the one with the shortest mask";

// Reports the contradictions. The items are visited once more, because their places are not kept.
void AddContradictions(const Contradictions& contradictions, CMarkup& document, FileFindings& findings)
{
    const std::vector<Contradictions::Pair> pairs = contradictions.Find();
    if (pairs.empty())
        return;
    Rewind(document);
    std::uint32_t item = 0;
    for (const Contradictions::Pair& pair : pairs) {
        while (item < pair.included && document.NextElement())
            item += IsItem(document.GetElementName()) ? 1 : 0;
        findings.Add(RuleFinding::Kind::Suspicious, document.GetElementPlace(), item,
                     L"the rule has no effect: item " + std::to_wstring(pair.excluded) + L" excludes the same");
    }
}

const wchar_t* WordsOf(CMarkup::StrayText::Where where)
{
    using Where = CMarkup::StrayText::Where;
    return where == Where::InRoot       ? L"text outside of the items is not read: "
           : where == Where::BehindRoot ? L"text behind the end of Data is not read: "
                                        : L"text before Data is not read: ";
}

// A tag whose first character is missing is text, and so is what an editor has left behind the end.
void AddStrayTexts(const CMarkup& document, FileFindings& findings)
{
    for (const CMarkup::StrayText& text : document.GetStrayTexts())
        findings.Add(RuleFinding::Kind::Suspicious, text.place, 0, WordsOf(text.where) + ItemChecks::Quoted(text.line));
}

void CheckChildren(const CMarkup& document, LoadingLog& log)
{
    if (document.HasChild(L"Item"))
        log.Found(RuleFinding::Kind::Suspicious,
                  L"an item inside an item is not read; is the end of the outer one missing?");
}

} // namespace

bool OrbFilter::LoadXmlFilters(const wchar_t* dataFile, const wchar_t* autoExcludeFile, const wchar_t* advancedFile)
{
    return AtBoundary(L"OrbFilter::LoadXmlFilters", false, [&]() -> bool {
        const COrbFuncLog guard(L"OrbFilter::LoadXmlFilters");
        g_OrbLog.Log(L"Data File: %s", dataFile ? dataFile : L"");
        g_OrbLog.Log(L"Data Auto Ex File : %s", autoExcludeFile ? autoExcludeFile : L"");
        m_dataFile = dataFile;
        m_autoExcludeFile = autoExcludeFile;
        m_advancedFile = advancedFile;
        m_findings.Clear();

        bool loaded = m_dataFile.IsEmpty() || ReadSelection(m_dataFile, false, nullptr, false, false);
        FilterList automatic;
        if (loaded && !m_autoExcludeFile.IsEmpty())
            loaded = ReadSelection(m_autoExcludeFile, true, &automatic, false, false);
        if (loaded)
            for (const FilterPtr& rule : automatic) {
                rule->flags |= RuleFlags::AutoExclude;
                AddSingleFilter(rule, false);
            }
        m_advancedUnread = false;
        if (loaded && !m_advancedFile.IsEmpty() && PathFileExistsW(m_advancedFile)) {
            m_advancedUnread = !ReadAdvancedFilters(m_advancedFile);
            SortAdvancedFilters();
        }
        // The rules are sorted on every way out, because checks rely on it.
        Sort();
        AddVolumeFindings();
        return loaded;
    });
}

// Reports drives for which the volumes of their rules mean more, or less, than each rule alone seems to say. A drive
// that is not there is no finding.
void OrbFilter::AddVolumeFindings()
{
    const QuietErrors quiet;
    FileFindings findings(m_dataFile, m_findings);
    for (const auto& [root, rules] : m_driveRules) {
        const auto any = [&](auto holds) { return std::ranges::any_of(rules.Rules(), holds); };
        const bool matters = any([](const FilterPtr& rule) { return rule->incEx == WatcherEnum::Include; }) &&
                             any([](const FilterPtr& rule) { return rule->vid != 0; });
        const bool share = root.View().starts_with(L"\\\\"); // it may take long to answer
        const std::optional<std::int32_t> present = matters && !share ? VolumeSerial(root) : std::nullopt;
        if (!present)
            continue;
        const std::wstring text = RootVolumes::Consequence(root, rules.Rules(), *present);
        if (!text.empty() && RootVolumes::IsOther(*rules.Rules().front(), *present))
            findings.AddGrave(text);
        else if (!text.empty())
            findings.Add(RuleFinding::Kind::Suspicious, {}, 0, text);
    }
}

bool OrbFilter::LoadXmlFilter(const wchar_t* file, bool autoExclude, FilterList* out, bool markFlag, bool readItemText)
{
    m_findings.Clear();
    return ReadSelection(file, autoExclude, out, markFlag, readItemText);
}

bool OrbFilter::ReadSelection(const wchar_t* file, bool autoExclude, FilterList* out, bool markFlag, bool readItemText)
{
    return AtBoundary(L"OrbFilter::LoadXmlFilter", false, [&]() -> bool {
        CMarkup document;
        FileFindings findings(file, m_findings);
        if (!OpenRules(document, file, L"Failed to load Data XML File", findings))
            return false;
        LoadingLog log(document, findings);
        if (FindGlobalExclude(document, log))
            m_globalExclude = document.GetElementText();
        MachineDrives drives;
        ReadKeptOutFolders();
        RuleReader reader(log);
        Contradictions contradictions;
        for (FilterList rules; document.NextElement(); rules.clear()) {
            if (!IsItem(document.GetElementName())) {
                CheckElement(document, log, false);
                continue;
            }
            log.NextItem();
            reader.Read(document, {autoExclude, markFlag, readItemText}, drives, rules);
            CheckChildren(document, log);
            for (const FilterPtr& rule : rules) {
                contradictions.Add(rule, log.Item());
                HandOn(rule, out);
            }
        }
        // A caller that takes a list of rules handles contradictions itself.
        if (!out)
            AddContradictions(contradictions, document, findings);
        AddStrayTexts(document, findings);
        m_networkInclude = m_networkInclude || drives.networkInclude;
        return true;
    });
}

void OrbFilter::HandOn(const FilterPtr& rule, FilterList* out)
{
    if (out)
        out->push_back(rule);
    else
        AddSingleFilter(rule, false);
}

bool OrbFilter::LoadXmlFilterAdvanced(const wchar_t* file)
{
    m_findings.Clear();
    return ReadAdvancedFilters(file);
}

bool OrbFilter::ReadAdvancedFilters(const wchar_t* file)
{
    return AtBoundary(L"OrbFilter::LoadXmlFilterAdvanced", false, [&]() -> bool {
        CMarkup document;
        FileFindings findings(file, m_findings);
        if (!OpenRules(document, file, L"Failed to load Advanced filters XML File", findings))
            return false;
        LoadingLog log(document, findings);
        MachineDrives drives;
        RuleReader reader(log);
        bool forAllPaths = false;
        for (FilterList rules; document.NextElement(); rules.clear()) {
            if (!IsItem(document.GetElementName())) {
                CheckElement(document, log, true);
                continue;
            }
            log.NextItem();
            reader.ReadAdvanced(document, drives, rules);
            CheckChildren(document, log);
            if (!rules.empty() && EqualNoCase(rules.front()->path.View(), AllPaths) && std::exchange(forAllPaths, true))
                log.Found(RuleFinding::Kind::Suspicious, SecondForAllPaths);
            for (const FilterPtr& rule : rules)
                AddAdvancedFilter(rule, false);
        }
        AddStrayTexts(document, findings);
        return true;
    });
}

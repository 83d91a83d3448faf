// Reading the selection: data file, automatic exclusions and advanced filters.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/Decisions.h"
#include "orbwatcher4/filter/VolumeTable.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

#include <windows.h>

#include <shlwapi.h>

namespace
{

constexpr int LongestInfo = 278;
constexpr int LongestMask = 5119;

template <typename... Arguments>
void LogError(int line, const wchar_t* format, Arguments... arguments)
{
    g_OrbLog.WriteLog(2, L"OrbFilter", line, format, arguments...);
}

std::int32_t Number(const CMarkup& item, const wchar_t* name) { return ToInt32(item.GetAttribute(name).View()); }

CString ReadInfo(const CMarkup& item)
{
    CString info = item.GetAttribute(L"additionalInfo");
    if (info.GetLength() <= LongestInfo)
        return info;
    LogError(__LINE__, L"Failed to load Additional Info");
    g_OrbLog.Log(L"Text: %s", info.GetString());
    return CString();
}

CString ReadMask(const CMarkup& item)
{
    CString mask = item.GetAttribute(L"mask");
    if (mask.GetLength() <= LongestMask)
        return mask;
    LogError(__LINE__, L"Extensions is bigger than buffer -- SKIP");
    return CString();
}

CString FolderPath(const CString& path) { return path.IsEmpty() ? path : WithBackslash(path); }

// The half of a split rule that includes everything under the path.
FilterPtr IncludeHalf(const Filter& rule)
{
    auto half = std::make_shared<Filter>(rule);
    half->mask.Empty();
    half->incEx = WatcherEnum::Include;
    half->isregex = false;
    half->regex = FilterRegex();
    return half;
}

void CompileMask(Filter& rule)
{
    if (rule.regex.Compile(rule.mask))
        return;
    LogError(__LINE__, L"Failed to create regex filter");
    g_OrbLog.Log(L"#####[ERROR]##### Regex Error: %s", rule.regex.GetError().GetString());
}

// Opens a file and goes into its root element. The messages say what failed.
bool OpenRules(CMarkup& document, const wchar_t* file, const wchar_t* failure)
{
    const bool loaded = document.Load(file) && document.GetParseError().IsEmpty();
    if (loaded && document.FindElement(L"Data") && document.EnterElement())
        return true;
    LogError(__LINE__, failure);
    g_OrbLog.Log(L"File : %s", file);
    g_OrbLog.Log(L"%s", loaded ? L"The root element is not Data" : document.GetResult().GetString());
    return false;
}

} // namespace

bool OrbFilter::LoadXmlFilters(const wchar_t* dataFile, const wchar_t* autoExcludeFile, const wchar_t* advancedFile)
{
    const COrbFuncLog guard(L"OrbFilter::LoadXmlFilters");
    g_OrbLog.Log(L"Data File: %s", dataFile ? dataFile : L"");
    g_OrbLog.Log(L"Data Auto Ex File : %s", autoExcludeFile ? autoExcludeFile : L"");
    m_dataFile = dataFile;
    m_autoExcludeFile = autoExcludeFile;
    m_advancedFile = advancedFile;

    bool loaded = m_dataFile.IsEmpty() || LoadXmlFilter(m_dataFile, false, nullptr, false, false);
    FilterList automatic;
    if (loaded && !m_autoExcludeFile.IsEmpty())
        loaded = LoadXmlFilter(m_autoExcludeFile, true, &automatic, false, false);
    if (loaded)
        for (const FilterPtr& rule : automatic) {
            rule->flags |= RuleFlags::AutoExclude;
            AddSingleFilter(rule, false);
        }
    m_advancedUnread = false;
    if (loaded && !m_advancedFile.IsEmpty() && PathFileExistsW(m_advancedFile)) {
        m_advancedUnread = !LoadXmlFilterAdvanced(m_advancedFile);
        SortAdvancedFilters();
    }
    // In order on every way out: checks rely on it.
    Sort();
    return loaded;
}

bool OrbFilter::LoadXmlFilter(const wchar_t* file, bool autoExclude, FilterList* out, bool markFlag, bool readItemText)
{
    CMarkup document;
    if (!OpenRules(document, file, L"Failed to load Data XML File"))
        return false;
    if (document.FindElement(L"GlobalExclude"))
        m_globalExclude = document.GetElementText();
    VolumeTable volumes;
    ReadBackupFolder();
    while (document.FindElement(L"Item"))
        ReadRule(document, autoExclude, out, markFlag, readItemText, volumes);
    return true;
}

void OrbFilter::ReadBackupFolder()
{
    constexpr std::size_t Capacity = 2048;
    wchar_t folder[Capacity] = {};
    CUserConfigurations& configuration = GetUserConfigurations();
    // While the settings cannot be read, the destination is where it was.
    if (configuration.Load() || configuration.GetValue(L"Backup::path", folder, Capacity)) {
        configuration.GetValue(L"Backup::path", folder, Capacity);
        m_backupFolder = FolderPath(CString(folder));
    }
    g_OrbLog.Log(L"Backup folder path: %s", m_backupFolder.GetString());
}

void OrbFilter::ReadRule(CMarkup& document, bool autoExclude, FilterList* out, bool markFlag, bool readItemText,
                         VolumeTable& volumes)
{
    auto rule = std::make_shared<Filter>();
    if (readItemText)
        rule->itemText = document.GetElementMarkup();
    const bool excludes = Number(document, L"exclude") == 1;
    rule->incEx = excludes ? WatcherEnum::Exclude : WatcherEnum::Include;
    rule->exclude = excludes && !autoExclude;
    rule->type = Number(document, L"type") != 0;
    rule->includeSub = Number(document, L"includeSub") != 0;
    rule->flags = static_cast<std::uint32_t>(Number(document, L"flags")) | (markFlag ? RuleFlags::EvenWhenHidden : 0);
    rule->pluginId = Number(document, L"pluginId");
    rule->pluginName = document.GetAttribute(L"pluginName");
    rule->additionalInfo = ReadInfo(document);
    rule->path = document.GetAttribute(L"path");
    if (rule->path.IsEmpty())
        return;
    if (!excludes && volumes.IsOnNetwork(rule->path))
        m_networkInclude = true;
    if (rule->type)
        rule->path = FolderPath(rule->path);
    volumes.Relocate(*rule, document.GetAttribute(L"vid"));
    rule->mask = ReadMask(document);
    if (Number(document, L"masktype") == 2 && !rule->mask.IsEmpty() && !rule->exclude) {
        HandOn(IncludeHalf(*rule), out);
        rule->incEx = WatcherEnum::Exclude;
        rule->exclude = true;
    }
    const CString profileMask = document.GetAttribute(L"PRMask");
    if (!profileMask.IsEmpty() && profileMask.GetLength() <= LongestMask) {
        rule->mask = profileMask;
        HandOn(IncludeHalf(*rule), out);
        rule->incEx = WatcherEnum::Exclude;
        rule->exclude = false;
    }
    // Read after the split: the include halves carry no job.
    rule->jobid = Number(document, L"jobid");
    HandOn(rule, out);
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
    CMarkup document;
    if (!OpenRules(document, file, L"Failed to load Advanced filters XML File"))
        return false;
    while (document.FindElement(L"Item"))
        ReadAdvancedRule(document);
    return true;
}

void OrbFilter::ReadAdvancedRule(CMarkup& document)
{
    auto rule = std::make_shared<Filter>();
    rule->exclude = Number(document, L"exclude") == 1;
    rule->incEx = rule->exclude ? WatcherEnum::Exclude : WatcherEnum::Include;
    rule->type = Number(document, L"type") != 0;
    rule->includeSub = Number(document, L"includeSub") != 0;
    rule->flags = static_cast<std::uint32_t>(Number(document, L"flags"));
    rule->additionalInfo = ReadInfo(document);
    rule->path = document.GetAttribute(L"path");
    if (rule->type && !EqualNoCase(rule->path.View(), AllPaths))
        rule->path = FolderPath(rule->path);
    rule->mask = ReadMask(document);
    if (!rule->mask.IsEmpty()) {
        rule->isregex = Number(document, L"isregex") != 0;
        if (rule->isregex)
            CompileMask(*rule);
        else
            rule->mask.Remove(L'*');
    }
    if (Number(document, L"masktype") == 2 && !rule->mask.IsEmpty() && !rule->exclude) {
        AddAdvancedFilter(IncludeHalf(*rule), false);
        rule->incEx = WatcherEnum::Exclude;
        rule->exclude = true;
    }
    AddAdvancedFilter(rule, false);
}

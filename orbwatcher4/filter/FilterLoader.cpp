// Reading the selection: data file, automatic exclusions and advanced filters.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/RuleReader.h"
#include "orbwatcher4/filter/VolumeTable.h"
#include "support/Backslash.h"
#include "xml/Markup.h"

#include <windows.h>

#include <shlwapi.h>

namespace
{

template <typename... Arguments>
void LogError(int line, const wchar_t* format, Arguments... arguments)
{
    g_OrbLog.WriteLog(2, L"OrbFilter", line, format, arguments...);
}

class LoadingLog final : public RuleLog
{
public:
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
};

// The drives of this machine.
class MachineDrives final : public RuleDrives
{
public:
    bool networkInclude = false;

    void Includes(const CString& path) override { networkInclude = m_volumes.IsOnNetwork(path) || networkInclude; }
    void Relocate(Filter& rule, std::wstring_view vid) override { m_volumes.Relocate(rule, vid); }

private:
    VolumeTable m_volumes;
};

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
    return AtBoundary(L"OrbFilter::LoadXmlFilters", false, [&]() -> bool {
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
    });
}

bool OrbFilter::LoadXmlFilter(const wchar_t* file, bool autoExclude, FilterList* out, bool markFlag, bool readItemText)
{
    return AtBoundary(L"OrbFilter::LoadXmlFilter", false, [&]() -> bool {
        CMarkup document;
        if (!OpenRules(document, file, L"Failed to load Data XML File"))
            return false;
        if (document.FindElement(L"GlobalExclude"))
            m_globalExclude = document.GetElementText();
        MachineDrives drives;
        LoadingLog log;
        ReadBackupFolder();
        RuleReader reader(log);
        for (FilterList rules; document.FindElement(L"Item"); rules.clear()) {
            reader.Read(document, {autoExclude, markFlag, readItemText}, drives, rules);
            for (const FilterPtr& rule : rules)
                HandOn(rule, out);
        }
        m_networkInclude = m_networkInclude || drives.networkInclude;
        return true;
    });
}

void OrbFilter::ReadBackupFolder()
{
    constexpr std::size_t Capacity = 2048;
    wchar_t folder[Capacity] = {};
    CUserConfigurations& configuration = GetUserConfigurations();
    // While the settings cannot be read, the destination is where it was.
    if (configuration.Load() || configuration.GetValue(L"Backup::path", folder, Capacity)) {
        configuration.GetValue(L"Backup::path", folder, Capacity);
        m_backupFolder = folder[0] ? WithBackslash(folder) : CString();
    }
    g_OrbLog.Log(L"Backup folder path: %s", m_backupFolder.GetString());
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
    return AtBoundary(L"OrbFilter::LoadXmlFilterAdvanced", false, [&]() -> bool {
        CMarkup document;
        if (!OpenRules(document, file, L"Failed to load Advanced filters XML File"))
            return false;
        LoadingLog log;
        RuleReader reader(log);
        for (FilterList rules; document.FindElement(L"Item"); rules.clear()) {
            reader.ReadAdvanced(document, rules);
            for (const FilterPtr& rule : rules)
                AddAdvancedFilter(rule, false);
        }
        return true;
    });
}

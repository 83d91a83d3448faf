// The statistics of extensions and profiles; their file is described in docs/statistics-file.md.
#include "orbwatcher4/estimator/Statistics.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/Scanner.h"
#include "orbwatcher4/estimator/FileExtension.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

namespace
{

// Returns an empty document when the file is missing or is no XML.
CMarkup LoadWhole(const wchar_t* path)
{
    CMarkup document;
    if (!document.Load(path) || !document.GetParseError().IsEmpty())
        return {};
    return document;
}

double Number(const CMarkup& document, const wchar_t* attribute)
{
    return ToDouble(document.GetAttribute(attribute).View());
}

} // namespace

// Costs are not estimated, so the looked-up rate has no effect.
double Scanner::GetEntryCost(const FSEntry& entry)
{
    if (!m_extensionMap.empty()) {
        const auto found = m_extensionMap.find(ExtensionOf(entry.name));
        if (found != m_extensionMap.end() && found->second.profile != NoProfile &&
            found->second.profile != EmptyProfile)
            m_profileRates[found->second.profile];
    }
    return 0.0;
}

void Scanner::LoadExtensionsMap()
{
    CMarkup document = LoadWhole(m_statsXmlPath);
    const bool found = document.FindElement(L"OrbExtensions");
    if (!found && !m_statsXmlPath.IsEmpty())
        g_OrbLog.WriteLog(2, L"Scanner", __LINE__, L"There are no statistics of extensions in %s",
                          m_statsXmlPath.GetString());
    m_defaultRatio = found ? static_cast<float>(Number(document, L"defaultRatio")) : 0;
    if (found && document.EnterElement())
        while (document.FindElement(L"Extension")) {
            const CString key = document.GetAttribute(L"mask").MakeLower();
            m_extensionMap[key].ratio = static_cast<float>(Number(document, L"ratio"));
        }
    m_allFilters.GenerateExtensionMap(m_extensionMap);
}

void Scanner::LoadProfileStats()
{
    CMarkup document = LoadWhole(m_statsXmlPath);
    if (!document.FindElement(L"Data") || !document.EnterElement())
        return;
    while (document.FindElement(L"Plugin")) {
        const std::int32_t id = ToInt32(document.GetAttribute(L"id").View());
        if (id == NoProfile || id == EmptyProfile)
            continue;
        const double modified = Number(document, L"modificationRate");
        const double deleted = Number(document, L"deletionRate");
        m_profileRates[id] = Number(document, L"additionRate") + (modified - deleted);
    }
}

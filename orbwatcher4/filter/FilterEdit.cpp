// Taking rules out of the selection, and whether a new one fits in.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/DocumentFile.h"
#include "orbwatcher4/filter/VolumeTable.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

#include <algorithm>

namespace
{

bool SameValue(const Filter& left, const Filter& right)
{
    return (left.type != 0) == (right.type != 0) && left.exclude == right.exclude && left.pluginId == right.pluginId &&
           EqualNoCase(left.path.View(), right.path.View());
}

// A folder's path may be written without its trailing backslash, and be that of a drive where the volume was.
CString RulePathOf(const CMarkup& item, bool folder, const VolumeTable& volumes)
{
    Filter read;
    read.path = item.GetAttribute(L"path");
    if (folder && !read.path.IsEmpty())
        read.path = WithBackslash(read.path);
    volumes.Relocate(read, item.GetAttributeView(L"vid"));
    return read.path;
}

bool IsItemOf(const CMarkup& item, const Filter& rule, const VolumeTable& volumes)
{
    const bool folder = ToInt32(item.GetAttribute(L"type").View()) != 0;
    return folder == (rule.type != 0) && (ToInt32(item.GetAttribute(L"exclude").View()) == 1) == rule.exclude &&
           ToInt32(item.GetAttribute(L"pluginId").View()) == rule.pluginId &&
           EqualNoCase(RulePathOf(item, folder, volumes).View(), rule.path.View());
}

} // namespace

bool OrbFilter::RemoveSingleFilter(FilterPtr rule, bool byValue, bool alsoFromXml)
{
    return AtBoundary(L"OrbFilter::RemoveSingleFilter", false, [&]() -> bool {
        if (!rule)
            return false;
        bool removed = false;
        const auto drive = m_driveRules.find(StripToRoot(rule->path));
        if (drive != m_driveRules.end())
            removed = std::erase_if(drive->second.Edit(), [&](const FilterPtr& held) {
                          return byValue ? SameValue(*held, *rule) : held == rule;
                      }) > 0;
        if (alsoFromXml)
            removed = AtBoundary(L"OrbFilter::RemoveSingleFilter", false, [&] { return RemoveFromDataFile(*rule); }) ||
                      removed;
        return removed;
    });
}

bool OrbFilter::RemoveFromDataFile(const Filter& rule) const
{
    CMarkup document;
    if (m_dataFile.IsEmpty() || !document.Load(m_dataFile) || !document.GetParseError().IsEmpty()) {
        g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"Failed to load Data XML File");
        return false;
    }
    if (!document.FindElement(L"Data") || !document.EnterElement())
        return false;
    bool removed = false;
    const VolumeTable volumes;
    while (document.FindElement(L"Item"))
        if (IsItemOf(document, rule, volumes))
            removed = document.RemoveElement() || removed;
    return removed && SaveDataFile(document);
}

bool OrbFilter::SaveDataFile(CMarkup& document) const
{
    if (SaveDocument(document, m_dataFile))
        return true;
    g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"Failed to save Data XML File");
    g_OrbLog.Log(L"File : %s", m_dataFile.GetString());
    return false;
}

bool OrbFilter::CheckRuleNoConflict(const FilterPtr& rule) const
{
    return AtBoundary(L"OrbFilter::CheckRuleNoConflict", false, [&]() -> bool {
        const RuleSet* const rules = RulesOfPath(m_driveRules, rule->path.View());
        return !rules || std::none_of(rules->Rules().begin(), rules->Rules().end(), [&](const FilterPtr& other) {
            return other->incEx != rule->incEx && (other->type != 0) == (rule->type != 0) &&
                   other->pluginId == rule->pluginId && other->mask == rule->mask &&
                   EqualNoCase(other->path.View(), rule->path.View());
        });
    });
}

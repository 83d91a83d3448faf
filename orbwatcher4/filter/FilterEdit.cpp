// Removes rules from the selection, and checks whether a new rule contradicts them.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/DiskNames.h"
#include "orbwatcher4/filter/DocumentFile.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "orbwatcher4/filter/VolumeTable.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

#include <algorithm>
#include <set>

namespace
{

// Compares paths in the system's form with that of a rule.
class PathOfRule
{
public:
    explicit PathOfRule(const Filter& rule) : m_path(ComparableRulePath(rule.path, &m_names)) {}

    const CString& Path() const { return m_path; }
    bool IsSame(const CString& formed) const { return EqualNoCase(m_path.View(), formed.View()); }
    DiskNames& Names() { return m_names; }

private:
    DiskNames m_names;
    const CString m_path;
};

// Returns the path of an item as its rule has it. The item may spell it in another way, may write a folder's path
// without the trailing backslash, and may name the drive where the volume was.
CString RulePathOf(const CMarkup& item, bool folder, const VolumeTable& volumes, DiskNames& names)
{
    Filter read;
    read.path = ComparableRulePath(item.GetAttribute(L"path"), &names);
    if (folder && !read.path.IsEmpty())
        read.path = WithBackslash(read.path);
    volumes.Relocate(read, item.GetAttributeView(L"vid"));
    return read.path;
}

bool IsItemOf(const CMarkup& item, const Filter& rule, PathOfRule& path, const VolumeTable& volumes)
{
    const bool folder = ToInt32(item.GetAttribute(L"type").View()) != 0;
    return folder == (rule.type != 0) && (ToInt32(item.GetAttribute(L"exclude").View()) == 1) == rule.exclude &&
           ToInt32(item.GetAttribute(L"pluginId").View()) == rule.pluginId &&
           path.IsSame(RulePathOf(item, folder, volumes, path.Names()));
}

} // namespace

bool OrbFilter::RemoveSingleFilter(FilterPtr rule, bool byValue, bool alsoFromXml)
{
    return AtBoundary(L"OrbFilter::RemoveSingleFilter", false, [&]() -> bool {
        if (!rule)
            return false;
        RulesByPath equal;
        equal.Add(rule);
        bool removed = false;
        // A rule that was added as it stands is filed under its own path.
        for (const CString& root : std::set<CString>{StripToRoot(rule->path), StripToRoot(SystemForm(rule->path))})
            if (const auto drive = m_driveRules.find(root); drive != m_driveRules.end())
                removed = std::erase_if(drive->second.Edit(),
                                        [&](const FilterPtr& held) {
                                            return byValue ? equal.HasEqual(*held) : held == rule;
                                        }) > 0 ||
                          removed;
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
    PathOfRule path(rule);
    while (document.FindElement(L"Item"))
        if (IsItemOf(document, rule, path, volumes))
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
    return AtBoundary(L"OrbFilter::CheckRuleNoConflict", false,
                      [&]() -> bool { return !FilterAccess::RulesOf(*this).HasConflict(*rule); });
}

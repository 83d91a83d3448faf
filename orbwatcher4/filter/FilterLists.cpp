// The lists that OrbFilter derives from its rules.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"

#include <algorithm>

namespace
{

std::vector<CString> PathsOf(const FilterList& rules, std::int32_t type, WatcherEnum::IncEx kind)
{
    std::vector<CString> paths;
    for (const FilterPtr& rule : rules)
        if ((rule->type != 0) == (type != 0) && rule->incEx == kind)
            paths.push_back(rule->path);
    return paths;
}

} // namespace

DriveList OrbFilter::GenerateDriveList()
{
    return AtBoundary(L"OrbFilter::GenerateDriveList", DriveList(), [&]() -> DriveList {
        DriveList drives;
        for (const auto& [root, rules] : m_driveRules) {
            g_OrbLog.Log(L"Adding Drive: %s", root.GetString());
            if (rules.IsEmpty()) {
                g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"No filters specified for drive -- SKIP");
                g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"The drive without filters is %s", root.GetString());
                continue;
            }
            const Filter& first = *rules.Rules().front();
            drives[root] = {first.vid, first.volumeFound, 0};
        }
        return drives;
    });
}

FilterList OrbFilter::RulesOf(const wchar_t* drive) const
{
    return AtBoundary(L"OrbFilter::RulesOf", FilterList(), [&]() -> FilterList {
        const auto found = m_driveRules.find(StripToRoot(drive));
        return found == m_driveRules.end() ? FilterList() : found->second.Rules();
    });
}

FilterList OrbFilter::AllRules() const
{
    return AtBoundary(L"OrbFilter::AllRules", FilterList(), [&]() -> FilterList {
        FilterList all;
        for (const auto& [root, rules] : m_driveRules)
            all.insert(all.end(), rules.Rules().begin(), rules.Rules().end());
        return all;
    });
}

FilterList OrbFilter::RulesWith(std::uint32_t flag) const
{
    return AtBoundary(L"OrbFilter::RulesWith", FilterList(), [&]() -> FilterList {
        FilterList marked;
        for (const auto& [root, rules] : m_driveRules)
            std::copy_if(rules.Rules().begin(), rules.Rules().end(), std::back_inserter(marked),
                         [&](const FilterPtr& rule) { return (rule->flags & flag) != 0; });
        return marked;
    });
}

std::vector<CString> OrbFilter::GenerateDirectoryList(const wchar_t* drive, WatcherEnum::IncEx kind)
{
    return AtBoundary(L"OrbFilter::GenerateDirectoryList", std::vector<CString>(),
                      [&]() -> std::vector<CString> { return PathsOf(RulesOf(drive), 1, kind); });
}

std::vector<CString> OrbFilter::GenerateFileList(const wchar_t* drive, WatcherEnum::IncEx kind)
{
    return AtBoundary(L"OrbFilter::GenerateFileList", std::vector<CString>(),
                      [&]() -> std::vector<CString> { return PathsOf(RulesOf(drive), 0, kind); });
}

void OrbFilter::GetExplicitFiles(const wchar_t* drive, std::vector<CString>& files)
{
    AtBoundary(L"OrbFilter::GetExplicitFiles", [&] {
        const std::vector<CString> paths = PathsOf(RulesOf(drive), 0, WatcherEnum::Include);
        files.insert(files.end(), paths.begin(), paths.end());
    });
}

namespace
{

template <typename Map>
void TakeEndings(const Filter& rule, Map& map)
{
    std::wstring_view mask = rule.mask.View();
    while (!mask.empty()) {
        const std::wstring_view token = mask.substr(0, mask.find(L';'));
        if (!token.empty())
            map[CString(token).MakeLower()].profile = rule.pluginId;
        mask.remove_prefix(std::min(mask.size(), token.size() + 1));
    }
}

template <typename Map>
void TakeEndings(const FilterList& rules, Map& map)
{
    for (const FilterPtr& rule : rules)
        if (rule->incEx == WatcherEnum::Include && rule->pluginId >= 0)
            TakeEndings(*rule, map);
}

} // namespace

void OrbFilter::GenerateExtensionMap(ExtensionMap& map)
{
    AtBoundary(L"OrbFilter::GenerateExtensionMap", [&] {
        for (const auto& [root, rules] : m_driveRules)
            TakeEndings(rules.Rules(), map);
    });
}

void OrbFilter::GenerateExtensionMap(google::sparse_hash_map<CString, ExtProperties, cstring_hash_cs>& map)
{
    AtBoundary(L"OrbFilter::GenerateExtensionMap", [&] {
        for (const auto& [root, rules] : m_driveRules)
            TakeEndings(rules.Rules(), map);
    });
}

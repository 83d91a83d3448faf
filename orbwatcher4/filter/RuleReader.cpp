#include "orbwatcher4/filter/RuleReader.h"

#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

namespace
{

constexpr int LongestInfo = 278;
constexpr int LongestMask = 5119;

std::int32_t Number(const CMarkup& item, const wchar_t* name) { return ToInt32(item.GetAttribute(name).View()); }

CString ReadInfo(const CMarkup& item, RuleLog& log)
{
    CString info = item.GetAttribute(L"additionalInfo");
    if (info.GetLength() <= LongestInfo)
        return info;
    log.InfoTooLong(info);
    return CString();
}

CString ReadMask(const CMarkup& item, RuleLog& log)
{
    CString mask = item.GetAttribute(L"mask");
    if (mask.GetLength() <= LongestMask)
        return mask;
    log.MaskTooLong();
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

// The other half keeps out what the mask names.
void ExcludeHalf(Filter& rule, bool byTheUser)
{
    rule.incEx = WatcherEnum::Exclude;
    rule.exclude = byTheUser;
}

bool IsSplit(const CMarkup& item, const Filter& rule)
{
    return Number(item, L"masktype") == 2 && !rule.mask.IsEmpty() && !rule.exclude;
}

void ReadKind(const CMarkup& item, Filter& rule)
{
    rule.exclude = Number(item, L"exclude") == 1;
    rule.incEx = rule.exclude ? WatcherEnum::Exclude : WatcherEnum::Include;
    rule.type = Number(item, L"type") != 0;
    rule.includeSub = Number(item, L"includeSub") != 0;
    rule.flags = static_cast<std::uint32_t>(Number(item, L"flags"));
}

} // namespace

FilterList ReadRules(const CMarkup& item, const RuleReading& reading, RuleDrives& drives, RuleLog& log)
{
    auto rule = std::make_shared<Filter>();
    if (reading.readItemText)
        rule->itemText = item.GetElementMarkup();
    ReadKind(item, *rule);
    rule->exclude = rule->exclude && !reading.autoExclude;
    rule->flags |= reading.markFlag ? RuleFlags::EvenWhenHidden : 0;
    rule->pluginId = Number(item, L"pluginId");
    rule->pluginName = item.GetAttribute(L"pluginName");
    rule->additionalInfo = ReadInfo(item, log);
    rule->path = item.GetAttribute(L"path");
    if (rule->path.IsEmpty())
        return {};
    if (rule->incEx == WatcherEnum::Include)
        drives.Includes(rule->path);
    if (rule->type)
        rule->path = FolderPath(rule->path);
    drives.Relocate(*rule, item.GetAttribute(L"vid"));
    rule->mask = ReadMask(item, log);

    FilterList rules;
    if (IsSplit(item, *rule)) {
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, true);
    }
    const CString profileMask = item.GetAttribute(L"PRMask");
    if (!profileMask.IsEmpty() && profileMask.GetLength() <= LongestMask) {
        rule->mask = profileMask;
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, false);
    }
    // Read after the split: the include halves carry no job.
    rule->jobid = Number(item, L"jobid");
    rules.push_back(std::move(rule));
    return rules;
}

FilterList ReadAdvancedRules(const CMarkup& item, RuleLog& log)
{
    auto rule = std::make_shared<Filter>();
    ReadKind(item, *rule);
    rule->additionalInfo = ReadInfo(item, log);
    rule->path = item.GetAttribute(L"path");
    if (rule->type && !EqualNoCase(rule->path.View(), AllPaths))
        rule->path = FolderPath(rule->path);
    rule->mask = ReadMask(item, log);
    if (!rule->mask.IsEmpty()) {
        rule->isregex = Number(item, L"isregex") != 0;
        if (!rule->isregex)
            rule->mask.Remove(L'*');
        else if (!rule->regex.Compile(rule->mask))
            log.PatternRefused(rule->regex.GetError());
    }
    FilterList rules;
    if (IsSplit(item, *rule)) {
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, true);
    }
    rules.push_back(std::move(rule));
    return rules;
}

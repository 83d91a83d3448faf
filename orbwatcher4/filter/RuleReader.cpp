#include "orbwatcher4/filter/RuleReader.h"

#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

#include <algorithm>

using namespace std::string_view_literals;

namespace
{

constexpr std::size_t LongestInfo = 278;
constexpr std::size_t LongestMask = 5119;

std::int32_t Number(const CMarkup& item, std::wstring_view name) { return ToInt32(item.GetAttributeView(name)); }

// The last item's text where it is the same: a large selection repeats few of them.
const CString& Shared(CString& last, std::wstring_view text)
{
    if (last.View() != text)
        last = CString(text);
    return last;
}

// With room for the backslash of a folder.
CString ReadPath(const CMarkup& item)
{
    const std::wstring_view text = item.GetAttributeView(L"path"sv);
    CString path;
    if (text.empty())
        return path;
    const auto length = static_cast<int>(text.size());
    std::copy(text.begin(), text.end(), path.GetBuffer(length + 1));
    path.ReleaseBuffer(length);
    return path;
}

void MakeFolderPath(CString& path)
{
    if (!path.IsEmpty() && !EndsInBackslash(path))
        path += L'\\';
}

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
    return !rule.mask.IsEmpty() && !rule.exclude && Number(item, L"masktype"sv) == 2;
}

void ReadKind(const CMarkup& item, Filter& rule)
{
    rule.exclude = Number(item, L"exclude"sv) == 1;
    rule.incEx = rule.exclude ? WatcherEnum::Exclude : WatcherEnum::Include;
    rule.type = Number(item, L"type"sv) != 0;
    rule.includeSub = Number(item, L"includeSub"sv) != 0;
    rule.flags = static_cast<std::uint32_t>(Number(item, L"flags"sv));
}

} // namespace

FilterPtr RuleReader::NewRule()
{
    if (m_usedOfBlock == m_rulesInBlock) {
        const std::size_t rules = std::min(2 * m_rulesInBlock + 1, MostInBlock);
        m_block = std::make_shared<Filter[]>(rules);
        m_rulesInBlock = rules;
        m_usedOfBlock = 0;
    }
    return FilterPtr(m_block, &m_block[m_usedOfBlock++]);
}

CString RuleReader::ReadInfo(const CMarkup& item)
{
    const std::wstring_view info = item.GetAttributeView(L"additionalInfo"sv);
    if (info.size() <= LongestInfo)
        return Shared(m_info, info);
    m_log.InfoTooLong(CString(info));
    return CString();
}

CString RuleReader::ReadMask(const CMarkup& item)
{
    const std::wstring_view mask = item.GetAttributeView(L"mask"sv);
    if (mask.size() <= LongestMask)
        return Shared(m_mask, mask);
    m_log.MaskTooLong();
    return CString();
}

void RuleReader::Read(const CMarkup& item, const RuleReading& reading, RuleDrives& drives, FilterList& rules)
{
    const FilterPtr rule = NewRule();
    if (reading.readItemText)
        rule->itemText = item.GetElementMarkup();
    ReadKind(item, *rule);
    rule->exclude = rule->exclude && !reading.autoExclude;
    rule->flags |= reading.markFlag ? RuleFlags::EvenWhenHidden : 0;
    rule->pluginId = Number(item, L"pluginId"sv);
    rule->pluginName = Shared(m_pluginName, item.GetAttributeView(L"pluginName"sv));
    rule->additionalInfo = ReadInfo(item);
    rule->path = ReadPath(item);
    if (rule->path.IsEmpty())
        return;
    if (rule->incEx == WatcherEnum::Include)
        drives.Includes(rule->path);
    if (rule->type)
        MakeFolderPath(rule->path);
    drives.Relocate(*rule, item.GetAttributeView(L"vid"sv));
    rule->mask = ReadMask(item);

    if (IsSplit(item, *rule)) {
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, true);
    }
    const std::wstring_view profileMask = item.GetAttributeView(L"PRMask"sv);
    if (!profileMask.empty() && profileMask.size() <= LongestMask) {
        rule->mask = profileMask;
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, false);
    }
    // Read after the split: the include halves carry no job.
    rule->jobid = Number(item, L"jobid"sv);
    rules.push_back(rule);
}

void RuleReader::ReadAdvanced(const CMarkup& item, FilterList& rules)
{
    const FilterPtr rule = NewRule();
    ReadKind(item, *rule);
    rule->additionalInfo = ReadInfo(item);
    rule->path = ReadPath(item);
    if (rule->type && !EqualNoCase(rule->path.View(), AllPaths))
        MakeFolderPath(rule->path);
    rule->mask = ReadMask(item);
    if (!rule->mask.IsEmpty()) {
        rule->isregex = Number(item, L"isregex"sv) != 0;
        if (!rule->isregex)
            rule->mask.Remove(L'*');
        else if (!rule->regex.Compile(rule->mask))
            m_log.PatternRefused(rule->regex.GetError());
    }
    if (IsSplit(item, *rule)) {
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, true);
    }
    rules.push_back(rule);
}

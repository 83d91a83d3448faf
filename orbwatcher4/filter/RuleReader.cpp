#include "orbwatcher4/filter/RuleReader.h"

#include "orbwatcher4/filter/ItemChecks.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

#include <algorithm>

using namespace std::string_view_literals;

using Kind = RuleFinding::Kind;

namespace
{

constexpr std::size_t LongestInfo = 278;
constexpr std::size_t LongestMask = 5119;

// Returns the last item's text when it is the same: a large selection repeats few texts.
const CString& Shared(CString& last, std::wstring_view text)
{
    if (last.View() != text)
        last = CString(text);
    return last;
}

// Copies a text, with room for the backslash of a folder.
CString CopyPath(std::wstring_view text)
{
    CString path;
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

// Returns the half of a split rule that includes everything under the path.
FilterPtr IncludeHalf(const Filter& rule)
{
    auto half = std::make_shared<Filter>(rule);
    half->mask.Empty();
    half->incEx = WatcherEnum::Include;
    half->isregex = false;
    half->regex = FilterRegex();
    return half;
}

// Turns the rule into the other half, which excludes the mask.
void ExcludeHalf(Filter& rule, bool byTheUser)
{
    rule.incEx = WatcherEnum::Exclude;
    rule.exclude = byTheUser;
}

// Other numbers are left empty on purpose.
bool IsForgottenWhenEmpty(std::wstring_view name)
{
    return name == L"exclude"sv || name == L"type"sv || name == L"includeSub"sv;
}

std::wstring TooLong(const wchar_t* name, std::size_t length, std::size_t longest)
{
    return std::wstring(name) + L" has " + std::to_wstring(length) + L" characters, and " + std::to_wstring(longest) +
           L" at most are read; it is dropped";
}

std::wstring RefusalOf(std::wstring_view written, RulePath::Refusal refusal)
{
    return L"path=" + ItemChecks::Quoted(written) + L" is no path of a rule: " +
           (BeginsNoCase(written, AllPaths) ? L"only the advanced filters know $$ALLPATHS$$, with nothing behind it"
                                            : WhyRefused(refusal)) +
           L". The item is no rule";
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

std::wstring_view RuleReader::Attribute(const CMarkup& item, std::wstring_view name)
{
    const std::wstring_view text = item.GetAttributeView(name);
    m_attributes += text.data() ? 1 : 0;
    return text;
}

std::int32_t RuleReader::Number(const CMarkup& item, std::wstring_view name)
{
    const std::wstring_view text = Attribute(item, name);
    if (text.data() && text.empty() && IsForgottenWhenEmpty(name))
        SayNoValue(item, name, L" and counts as 0");
    if (!ItemChecks::IsWholeNumber(text))
        Say(Kind::Suspicious, ItemChecks::OfNumber(name, text));
    return ToInt32(text);
}

void RuleReader::Say(Kind kind, const std::wstring& text)
{
    if (text.empty())
        return;
    m_doubted = true;
    m_log.Found(kind, text);
}

void RuleReader::SayNoValue(const CMarkup& item, std::wstring_view name, std::wstring_view effect)
{
    m_forgotten = true;
    Say(Kind::Suspicious, ItemChecks::OfNoValue(name, item.IsAttributeQuoted(name), effect));
}

void RuleReader::CheckUnquoted(const CMarkup& item)
{
    if (item.HasQuotedAttributes())
        return;
    std::vector<std::wstring> names;
    for (const std::wstring_view name : item.GetAttributeNames())
        names.emplace_back(name);
    for (const std::wstring& name : names)
        if (!item.IsAttributeQuoted(name))
            if (const std::wstring text = ItemChecks::OfUnquoted(name, item.GetAttributeView(name)); !text.empty()) {
                m_forgotten = true;
                Say(Kind::Suspicious, text);
            }
}

void RuleReader::CheckVolume(const Filter& rule, std::wstring_view vid)
{
    // 0 identifies no volume.
    if (!vid.empty() && rule.vid != 0 && !rule.volumeFound && m_absentVolumes.insert(rule.vid).second)
        Say(Kind::Suspicious, ItemChecks::OfVolume(vid));
}

void RuleReader::ReadKind(const CMarkup& item, Filter& rule)
{
    m_attributes = 0;
    m_doubted = m_forgotten = false;
    CheckUnquoted(item);
    const std::int32_t exclude = Number(item, L"exclude"sv);
    if (exclude != 0 && exclude != 1)
        Say(Kind::Suspicious, ItemChecks::OfExclude(item.GetAttributeView(L"exclude"sv)));
    rule.exclude = exclude == 1;
    rule.incEx = rule.exclude ? WatcherEnum::Exclude : WatcherEnum::Include;
    rule.type = Number(item, L"type"sv) != 0;
    rule.includeSub = Number(item, L"includeSub"sv) != 0;
    rule.flags = static_cast<std::uint32_t>(Number(item, L"flags"sv));
}

bool RuleReader::ReadPath(const CMarkup& item, RuleDrives& drives, CString& path)
{
    const std::wstring_view text = Attribute(item, L"path"sv);
    if (IsPlainRulePath(text)) {
        path = CopyPath(text);
        return true;
    }
    const std::wstring written(text);
    const RulePath formed = FormRulePath(written, &drives);
    if (formed.refusal != RulePath::Refusal::None) {
        Say(Kind::ItemRefused, RefusalOf(written, formed.refusal));
        return false;
    }
    Say(Kind::Suspicious, ItemChecks::OfPath(written, formed));
    path = CopyPath(formed.text.View());
    return true;
}

CString RuleReader::ReadInfo(const CMarkup& item)
{
    const std::wstring_view info = Attribute(item, L"additionalInfo"sv);
    if (info.size() <= LongestInfo)
        return Shared(m_info, info);
    m_log.InfoTooLong(CString(info));
    Say(Kind::Suspicious, TooLong(L"additionalInfo", info.size(), LongestInfo));
    return CString();
}

CString RuleReader::ReadMask(const CMarkup& item)
{
    const std::wstring_view mask = Attribute(item, L"mask"sv);
    if (mask.data() && mask.empty())
        SayNoValue(item, L"mask"sv, L", and the rule applies to everything");
    if (mask.size() <= LongestMask)
        return Shared(m_mask, mask);
    m_log.MaskTooLong();
    Say(Kind::ValueDropped, TooLong(L"mask", mask.size(), LongestMask) + L", and the rule applies to everything");
    return CString();
}

bool RuleReader::IsSplit(const CMarkup& item, const Filter& rule)
{
    if (Number(item, L"masktype"sv) != 2)
        return false;
    if (rule.mask.IsEmpty())
        Say(Kind::Suspicious, L"masktype=\"2\" has no effect without a mask");
    else if (rule.exclude)
        Say(Kind::Suspicious, L"masktype=\"2\" has no effect on an exclusion: what the mask names is excluded");
    return !rule.mask.IsEmpty() && !rule.exclude;
}

void RuleReader::ReadProfileMask(const CMarkup& item, Filter& rule, FilterList& rules)
{
    const std::wstring_view mask = Attribute(item, L"PRMask"sv);
    if (mask.size() > LongestMask)
        Say(Kind::ValueDropped, TooLong(L"PRMask", mask.size(), LongestMask) + L", and the rule applies without it");
    if (mask.empty() || mask.size() > LongestMask)
        return;
    if (rule.exclude)
        Say(Kind::Suspicious,
            L"PRMask makes a rule that includes everything but the mask; exclude=\"1\" has no effect");
    Say(Kind::Suspicious, ItemChecks::OfMask(mask, ItemChecks::In::Selection));
    rule.mask = mask;
    rules.push_back(IncludeHalf(rule));
    ExcludeHalf(rule, false);
}

void RuleReader::CheckAttributes(const CMarkup& item, File file)
{
    for (const std::wstring_view name : item.GetAmpersandAttributes())
        Say(Kind::Suspicious, ItemChecks::OfAmpersand(name));
    // If every attribute was read and has its quotation marks, there is nothing else.
    if (m_attributes == item.CountAttributes() && item.HasQuotedAttributes())
        return;
    if (!item.HasQuotedAttributes() && !m_forgotten)
        Say(Kind::Suspicious, L"an attribute has no value in quotation marks; it is read up to the next space");
    std::vector<std::wstring> names;
    for (const std::wstring_view name : item.GetAttributeNames())
        names.emplace_back(name);
    for (auto name = names.begin(); name != names.end(); ++name) {
        const bool again = std::find(names.begin(), name, *name) != name;
        Say(Kind::Suspicious,
            again ? L"the attribute " + ItemChecks::Quoted(*name) + L" stands there again; the first one counts"
                  : ItemChecks::OfAttribute(*name, file == File::Selection ? ItemChecks::In::Selection
                                                                           : ItemChecks::In::AdvancedFilters));
    }
}

// If the item has a finding already, that is usually the reason for its kind.
void RuleReader::CheckKind(const Filter& rule)
{
    if (!m_doubted && !EqualNoCase(rule.path.View(), AllPaths))
        Say(Kind::Suspicious, ItemChecks::OfKind(rule));
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
    rule->pluginName = Shared(m_pluginName, Attribute(item, L"pluginName"sv));
    rule->additionalInfo = ReadInfo(item);
    if (const std::wstring_view path = item.GetAttributeView(L"path"sv); path.empty()) {
        if (path.data())
            SayNoValue(item, L"path"sv, L", and the item is no rule");
        else
            Say(Kind::Suspicious, L"the item has no path and is no rule");
        CheckAttributes(item, File::Selection);
        return;
    }
    if (!ReadPath(item, drives, rule->path))
        return;
    if (rule->incEx == WatcherEnum::Include)
        drives.Includes(rule->path);
    if (rule->type)
        MakeFolderPath(rule->path);
    const std::wstring_view vid = Attribute(item, L"vid"sv);
    if (!ItemChecks::IsWholeNumber(vid))
        Say(Kind::Suspicious, ItemChecks::OfNumber(L"vid"sv, vid));
    drives.Relocate(*rule, vid);
    CheckVolume(*rule, vid);
    rule->mask = ReadMask(item);
    Say(Kind::Suspicious, ItemChecks::OfMask(rule->mask.View(), ItemChecks::In::Selection));

    if (IsSplit(item, *rule)) {
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, true);
    }
    ReadProfileMask(item, *rule, rules);
    // Read after the split: the include halves carry no job.
    rule->jobid = Number(item, L"jobid"sv);
    CheckAttributes(item, File::Selection);
    CheckKind(*rule);
    rules.push_back(rule);
}

bool RuleReader::ReadAdvancedPath(const CMarkup& item, RuleDrives& drives, Filter& rule)
{
    const std::wstring_view path = item.GetAttributeView(L"path"sv);
    if (path.empty()) {
        if (path.data())
            SayNoValue(item, L"path"sv, L", and the item applies to no drive");
        else
            Say(Kind::Suspicious, L"the item has no path and applies to no drive");
        return true;
    }
    if (EqualNoCase(path, AllPaths)) {
        rule.path = CString(Attribute(item, L"path"sv));
        if (!rule.type)
            Say(Kind::Suspicious, L"a rule for all paths needs type=\"1\"; as it is, it applies to nothing");
        return true;
    }
    if (!ReadPath(item, drives, rule.path))
        return false;
    if (rule.type)
        MakeFolderPath(rule.path);
    return true;
}

void RuleReader::ReadPattern(const CMarkup& item, Filter& rule)
{
    rule.isregex = Number(item, L"isregex"sv) != 0;
    if (!rule.isregex) {
        Say(Kind::Suspicious, ItemChecks::OfMask(rule.mask.View(), ItemChecks::In::AdvancedFilters));
        rule.mask.Remove(L'*');
    } else if (!rule.regex.Compile(rule.mask)) {
        m_log.PatternRefused(rule.regex.GetError());
        Say(Kind::ValueDropped, L"the regular expression " + ItemChecks::Quoted(rule.mask.View()) +
                                    L" does not compile (" + std::wstring(rule.regex.GetError().View()) +
                                    L"), so that the rule has no effect");
    }
}

void RuleReader::ReadAdvanced(const CMarkup& item, RuleDrives& drives, FilterList& rules)
{
    const FilterPtr rule = NewRule();
    ReadKind(item, *rule);
    rule->additionalInfo = ReadInfo(item);
    if (!ReadAdvancedPath(item, drives, *rule))
        return;
    rule->mask = ReadMask(item);
    if (!rule->mask.IsEmpty())
        ReadPattern(item, *rule);
    if (IsSplit(item, *rule)) {
        rules.push_back(IncludeHalf(*rule));
        ExcludeHalf(*rule, true);
    }
    CheckAttributes(item, File::AdvancedFilters);
    CheckKind(*rule);
    rules.push_back(rule);
}

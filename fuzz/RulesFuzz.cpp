// Any text as a selection: its items become rules, and the decisions about paths end, say the
// same as a walk over all rules, in any case, and give a reason for what they say. <Ask path=""/> elements
// beside the items name the paths; each rule's own path is asked about as well.
#include "fuzz/FuzzInput.h"

#include "orbwatcher4/filter/Decisions.h"
#include "orbwatcher4/filter/RuleReader.h"
#include "support/CaseFold.h"
#include "tests/filter/RuleWalk.h"
#include "xml/Markup.h"

#include <algorithm>

namespace
{

// Regular expressions may take a million steps for each path.
constexpr std::size_t MostPaths = 8;
constexpr std::size_t MostRules = 24;
constexpr std::size_t LongestPath = 400;

class NoDrives final : public RuleDrives
{
public:
    void Includes(const CString&) override {}
    void Relocate(Filter&, std::wstring_view) override {}
    // Every second name is known, some of them as a longer one.
    CString NameOf(const CString& path) override
    {
        return path.GetLength() % 2 ? CString() : CString(path.GetLength() % 4 ? L"a longer name" : L"x.");
    }
};

class NoLog final : public RuleLog
{
public:
    void Found(RuleFinding::Kind, const std::wstring& text) override { Require(!text.empty()); }
    void InfoTooLong(const CString& info) override { Require(info.GetLength() > 278); }
    void MaskTooLong() override {}
    void PatternRefused(const CString& error) override { Require(!error.IsEmpty()); }
};

// A path that ends in a backslash is a directory, one with a question mark is gone.
class Host final : public Decisions::AdvancedHost
{
public:
    std::uint32_t Attributes(const wchar_t* path) override
    {
        const std::wstring_view text = path;
        return text.ends_with(L'\\') ? 0x10 : text.find(L'?') != text.npos ? 0xFFFFFFFF : 0x20;
    }
    void RegexSkipped(Unknown, const wchar_t*) override {}
    void RegexSwitchedOff(const Filter&, int) override {}
    void TreatedAsIncluded() override {}
    void EndingsMissed(const wchar_t*, bool) override {}
};

struct Selection {
    FilterList rules;
    FilterList advanced;
    std::vector<CString> paths;

    FilterList AllPathsRules() const
    {
        FilterList found;
        std::copy_if(advanced.begin(), advanced.end(), std::back_inserter(found), IsForAllPaths);
        return found;
    }
    FilterList DriveRules() const
    {
        FilterList found;
        std::remove_copy_if(advanced.begin(), advanced.end(), std::back_inserter(found), IsForAllPaths);
        return found;
    }

private:
    static bool IsForAllPaths(const FilterPtr& rule) { return EqualNoCase(rule->path.View(), AllPaths); }
};

void Append(FilterList& rules, const FilterList& more)
{
    for (const FilterPtr& rule : more) {
        Require(rule->mask.GetLength() <= 5119 && rule->additionalInfo.GetLength() <= 278);
        if (rules.size() < MostRules)
            rules.push_back(rule);
    }
}

void ReadItems(CMarkup& document, Selection& selection)
{
    NoDrives drives;
    NoLog log;
    RuleReader reader(log);
    while (document.FindElement(L"Item")) {
        FilterList rules, advanced;
        reader.Read(document, {}, drives, rules);
        reader.ReadAdvanced(document, drives, advanced);
        Append(selection.rules, rules);
        Append(selection.advanced, advanced);
    }
}

Selection Read(std::string_view bytes)
{
    Selection selection;
    CMarkup document;
    document.SetDoc(CString(std::wstring_view(AsUnits(bytes))));
    if (!document.FindElement(L"Data") || !document.EnterElement())
        return selection;
    ReadItems(document, selection);
    document.LeaveElement();
    document.EnterElement();
    while (document.FindElement(L"Ask"))
        selection.paths.push_back(document.GetAttribute(L"path"));
    for (const FilterPtr& rule : selection.rules)
        selection.paths.push_back(rule->path);
    selection.paths.resize(std::min(selection.paths.size(), MostPaths));
    for (FilterList* rules : {&selection.rules, &selection.advanced}) {
        Decisions::SortRules(*rules);
        Require(std::is_sorted(rules->begin(), rules->end(), Decisions::ComesBefore));
    }
    return selection;
}

std::wstring InUpperCase(std::wstring_view path)
{
    std::wstring upper(path);
    for (wchar_t& unit : upper)
        unit = static_cast<wchar_t>(UpperUnit(static_cast<std::uint16_t>(unit)));
    return upper;
}

// The rules that took part explain the answer.
void AskRules(const RuleSet& rules, std::wstring_view path)
{
    FilterList matched, walked;
    const InclusionType answer = Decisions::CheckRules(rules, path, false, &matched);
    Require(answer == RuleWalk::CheckRules(rules.Rules(), path, false, &walked));
    Require(matched == walked);
    Require(answer == Decisions::CheckRules(rules, path, false, nullptr));
    Require(answer == Decisions::CheckRules(rules, InUpperCase(path), false, nullptr));
    const auto includes = [](const FilterPtr& rule) { return rule->incEx == WatcherEnum::Include; };
    if (answer == Included)
        Require(std::any_of(matched.begin(), matched.end(), includes));
    else if (answer == Excluded)
        Require(!includes(matched.back()) && matched.back()->exclude);
    else
        Require(answer == NotIncluded && std::none_of(matched.begin(), matched.end(), includes));
}

void AskAdvancedRules(const RuleSet& rules, const RuleSet& allPaths, const CString& path)
{
    Host host;
    const FilterPtr first = allPaths.IsEmpty() ? nullptr : allPaths.Rules().front();
    const Decisions::AdvancedResult answer = Decisions::CheckAdvancedRules(rules, allPaths, path, host);
    const Decisions::AdvancedResult again = RuleWalk::CheckAdvancedRules(rules.Rules(), first, path, host);
    Require(answer.result == again.result && answer.deciding == again.deciding);
    Require(answer.result != NotIncluded && (answer.result != Excluded || answer.deciding));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Selection selection = Read(AsBytes(data, size));
    const RuleSet rules = selection.rules;
    const RuleSet allPaths = selection.AllPathsRules();
    const RuleSet drive = selection.DriveRules();
    for (const CString& path : selection.paths) {
        if (static_cast<std::size_t>(path.GetLength()) > LongestPath)
            continue;
        AskRules(rules, path.View());
        AskAdvancedRules(drive, allPaths, path);
    }
    return 0;
}

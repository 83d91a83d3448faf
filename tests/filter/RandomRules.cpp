#include "tests/filter/RandomRules.h"

#include "orbwatcher4/filter/Decisions.h"

#include <iterator>

namespace
{

constexpr const wchar_t* names[] = {L"a", L"A", L"ab", L"docs", L"\u00E4", L"\u00C4b", L"x.tmp"};
constexpr const wchar_t* endings[] = {L".tmp", L".TMP", L".doc", L"b", L"ab", L"*.tmp", L"\u00E4", L"", L"docs\\a.doc"};
constexpr const wchar_t* patterns[] = {L"tmp", L"^C:.*[ab]$", L"x+", L"(", L"docs."};

} // namespace

std::wstring RandomRules::Folders()
{
    std::wstring text = Pick(12) ? L"C:" : L"c:";
    for (int depth = Pick(4); depth > 0; --depth)
        text += L"\\" + std::wstring(names[Pick(std::size(names))]);
    return text;
}

std::wstring RandomRules::Ending() { return endings[Pick(std::size(endings))]; }

std::wstring RandomRules::Path()
{
    std::wstring text = Folders();
    if (Pick(3) == 0)
        text += L'\\';
    else if (Pick(2))
        text += L"." + std::wstring(Pick(2) ? L"tmp" : L"doc");
    if (Pick(40) == 0)
        text.resize(text.size() / 2);
    return text;
}

std::wstring RandomRules::Mask()
{
    std::wstring mask;
    // Some are so long that they are not walked any more.
    for (int entries = Pick(3) ? Pick(3) : Pick(40); entries > 0; --entries)
        mask += Ending() + L";";
    return mask;
}

FilterPtr RandomRules::Rule()
{
    auto rule = std::make_shared<Filter>();
    rule->type = Pick(4) != 0;
    // A rule that a host made may name a folder without its backslash: it speaks of all that begins so.
    rule->path = rule->type && Pick(6) ? (Folders() + L"\\").c_str() : Path().c_str();
    rule->incEx = Pick(2) ? WatcherEnum::Include : WatcherEnum::Exclude;
    rule->exclude = Pick(2) != 0;
    rule->includeSub = Pick(4) != 0;
    rule->mask = Pick(2) ? L"" : Mask().c_str();
    return rule;
}

FilterList RandomRules::Rules(int most)
{
    FilterList rules;
    for (int count = Pick(most + 1); count > 0; --count)
        rules.push_back(Rule());
    Decisions::SortRules(rules);
    return rules;
}

FilterList RandomRules::AdvancedRules(int most)
{
    FilterList rules = Rules(most);
    for (const FilterPtr& rule : rules) {
        if (Pick(3))
            continue;
        rule->isregex = true;
        rule->mask = patterns[Pick(std::size(patterns))];
        rule->regex.Compile(rule->mask);
    }
    Decisions::SortRules(rules);
    return rules;
}

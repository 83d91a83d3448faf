#include "xml/AttributeTable.h"

#include "xml/MarkupTokenizer.h"

#include <algorithm>
#include <array>

namespace
{

// Up to this number, a look at all of them is faster than a sorted search.
constexpr std::size_t Few = 16;

bool IsQuote(wchar_t unit) { return unit == L'"' || unit == L'\''; }

// A table, because very many units are tested.
constexpr auto EndsAttributeName = [] {
    std::array<bool, 128> ends = {};
    for (wchar_t unit = 0; unit < 128; ++unit)
        ends[unit] = EndsTagName(unit) || unit == L'"' || unit == L'\'';
    return ends;
}();

std::size_t EndOfName(std::wstring_view text, std::size_t start)
{
    const wchar_t* unit = text.data() + start;
    const wchar_t* const end = text.data() + text.size();
    while (unit != end &&
           (static_cast<std::uint32_t>(*unit) >= 128 || !EndsAttributeName[static_cast<std::size_t>(*unit)]))
        ++unit;
    return static_cast<std::size_t>(unit - text.data());
}

void SkipSpace(std::wstring_view text, std::size_t& at)
{
    while (at < text.size() && IsMarkupSpace(text[at]))
        ++at;
}

} // namespace

void AttributeTable::Clear()
{
    m_attributes.clear();
    m_sorted = false;
    m_wellFormed = true;
}

std::uint32_t AttributeTable::MarkOf(std::wstring_view name)
{
    if (name.empty())
        return 0;
    return static_cast<std::uint32_t>(name.size()) << 24 ^ static_cast<std::uint32_t>(name.front()) << 12 ^
           static_cast<std::uint32_t>(name.back());
}

void AttributeTable::Read(std::wstring_view head)
{
    Clear();
    std::size_t at = 1 + TagNameAt(head, 1).size();
    while (at < head.size()) {
        const std::size_t before = at;
        SkipSpace(head, at);
        if (at == head.size())
            break;
        if (at == before)
            m_wellFormed = false;
        ReadOne(head, at);
    }
    SortWhenMany();
}

// Files from the field have attributes without a value and without quotation marks: these are read as far as possible.
void AttributeTable::ReadOne(std::wstring_view head, std::size_t& at)
{
    const std::size_t start = at;
    at = EndOfName(head, start);
    const std::wstring_view name = head.substr(start, at - start);
    if (name.empty() && head[at] != L'=') {
        m_wellFormed = false;
        ++at;
        return;
    }
    std::size_t after = at;
    SkipSpace(head, after);
    Value value{head.substr(at, 0)};
    if (after < head.size() && head[after] == L'=') {
        at = after + 1;
        SkipSpace(head, at);
        value = ReadValue(head, at);
    } else {
        m_wellFormed = false;
    }
    if (name.empty())
        m_wellFormed = false;
    else
        m_attributes.push_back({MarkOf(name), name, value});
}

AttributeTable::Value AttributeTable::ReadValue(std::wstring_view head, std::size_t& at)
{
    const wchar_t quote = at < head.size() && IsQuote(head[at]) ? head[at] : 0;
    if (quote)
        ++at;
    else
        m_wellFormed = false;
    const std::size_t start = at;
    const wchar_t* unit = head.data() + start;
    const wchar_t* const end = head.data() + head.size();
    bool plain = true;
    for (; unit != end && (quote ? *unit != quote : !IsMarkupSpace(*unit)); ++unit)
        plain = plain && *unit != L'&';
    at = static_cast<std::size_t>(unit - head.data());
    const std::wstring_view text = head.substr(start, at - start);
    if (quote && at < head.size())
        ++at;
    return {text, plain, quote != 0};
}

void AttributeTable::SortWhenMany()
{
    if (m_attributes.size() <= Few)
        return;
    // A stable sort: of attributes with the same name, the first in the text stays first.
    std::ranges::stable_sort(m_attributes, {}, &Attribute::name);
    m_sorted = true;
}

AttributeTable::Value AttributeTable::Find(std::wstring_view name) const
{
    if (m_sorted) {
        const auto found = std::ranges::lower_bound(m_attributes, name, {}, &Attribute::name);
        return found != m_attributes.end() && found->name == name ? found->value : Value();
    }
    const std::uint32_t mark = MarkOf(name);
    for (const Attribute& attribute : m_attributes)
        if (attribute.mark == mark && attribute.name == name)
            return attribute.value;
    return {};
}

bool AttributeTable::HasTwins() const
{
    if (m_sorted)
        return std::ranges::adjacent_find(m_attributes, {}, &Attribute::name) != m_attributes.end();
    for (auto attribute = m_attributes.begin(); attribute != m_attributes.end(); ++attribute)
        if (std::any_of(m_attributes.begin(), attribute, [&](const Attribute& a) { return a.name == attribute->name; }))
            return true;
    return false;
}

#include "xml/AttributeTable.h"

#include "xml/MarkupTokenizer.h"

#include <algorithm>

namespace
{

// Up to here looking at all of them is faster than any order.
constexpr std::size_t kFew = 16;

bool IsQuote(wchar_t unit) { return unit == L'"' || unit == L'\''; }

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

// Files from the field hold attributes without a value and without quotation
// marks: these are read as far as they make sense.
void AttributeTable::ReadOne(std::wstring_view head, std::size_t& at)
{
    const std::size_t start = at;
    while (at < head.size() && !EndsTagName(head[at]) && !IsQuote(head[at]))
        ++at;
    const std::wstring_view name = head.substr(start, at - start);
    if (name.empty() && head[at] != L'=') {
        m_wellFormed = false;
        ++at;
        return;
    }
    std::size_t after = at;
    SkipSpace(head, after);
    std::wstring_view value = head.substr(at, 0);
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
        m_attributes.push_back({name, value});
}

std::wstring_view AttributeTable::ReadValue(std::wstring_view head, std::size_t& at)
{
    if (at < head.size() && IsQuote(head[at])) {
        const std::size_t start = at + 1;
        const std::size_t end = std::min(head.find(head[at], start), head.size());
        at = std::min(end + 1, head.size());
        return head.substr(start, end - start);
    }
    m_wellFormed = false;
    const std::size_t start = at;
    while (at < head.size() && !IsMarkupSpace(head[at]))
        ++at;
    return head.substr(start, at - start);
}

void AttributeTable::SortWhenMany()
{
    if (m_attributes.size() <= kFew)
        return;
    // Stable, so that of twins the first in the text stays the first.
    std::ranges::stable_sort(m_attributes, {}, &Attribute::name);
    m_sorted = true;
}

std::wstring_view AttributeTable::Find(std::wstring_view name) const
{
    if (m_sorted) {
        const auto found = std::ranges::lower_bound(m_attributes, name, {}, &Attribute::name);
        return found != m_attributes.end() && found->name == name ? found->value : std::wstring_view();
    }
    for (const Attribute& attribute : m_attributes)
        if (attribute.name == name)
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

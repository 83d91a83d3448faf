// Edits of a CMarkup: they change the text piece by piece and the index element by element, and leave the rest of both
// alone.
#include "xml/Markup.h"

#include "xml/MarkupDocument.h"
#include "xml/MarkupEscape.h"
#include "xml/MarkupParser.h"

#include <algorithm>

namespace
{

bool IsTagName(std::wstring_view name)
{
    const auto foreign = [](wchar_t unit) {
        return EndsTagName(unit) || unit == L'"' || unit == L'\'' || unit == L'&';
    };
    return !name.empty() && std::none_of(name.begin(), name.end(), foreign);
}

std::wstring_view Trimmed(std::wstring_view text)
{
    while (!text.empty() && IsMarkupSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsMarkupSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace

// Returns true when there is room for the units, and for the end tag that an empty parent gets.
bool CMarkup::Document::CanInsert(std::size_t units)
{
    // A document with a second root could not be loaded again.
    if (!complete || (!cursor.parent && index[0].firstChild) || !CanHoldElements(cursor.parent))
        return false;
    const std::size_t wanted = units + index[cursor.parent].headLength + 4;
    if (wanted < units || !text.HasRoomFor(wanted))
        return false;
    if (!text.HasAddressesFor(wanted))
        Flatten();
    return text.HasAddressesFor(wanted);
}

// <name //> cannot be opened up: the remaining slash would close it all the same.
bool CMarkup::Document::CanHoldElements(std::uint32_t parent) const
{
    const ElementRecord& record = index[parent];
    return !(record.flags & ElementRecord::Empty) || !Head(record).ends_with(L'/');
}

std::uint32_t CMarkup::Document::Stage(std::wstring_view markup)
{
    // The added text may move, and the attributes that were found in it with it.
    attributesOf = 0;
    return text.Stage(markup);
}

void CMarkup::Document::Insert(std::uint32_t element)
{
    const std::uint32_t parent = cursor.parent;
    const std::uint32_t sibling = cursor.current ? cursor.current : index.LastChild(parent);
    const std::uint32_t staged = index[element].start;
    const std::uint32_t length = index[element].end - staged;
    index[element].parent = parent;
    if (sibling) {
        text.PlaceBehind(index[sibling].end, staged, length);
        index.LinkAfter(sibling, element);
    } else {
        PlaceInto(parent, staged, length);
        index.LinkLast(index[parent].firstChild, element);
    }
    cursor.MoveTo(element);
}

void CMarkup::Document::PlaceInto(std::uint32_t parent, std::uint32_t staged, std::uint32_t length)
{
    if (!parent) {
        text.PlaceLast(staged, length);
        return;
    }
    if (index[parent].flags & ElementRecord::Empty)
        OpenUp(parent);
    text.PlaceBefore(EndTagOf(index[parent]), staged, length);
}

void CMarkup::Document::Erase(std::uint32_t element)
{
    text.Remove(index[element].start, index[element].end);
    index.Unlink(element);
}

// Makes <name></name> of <name/>.
void CMarkup::Document::OpenUp(std::uint32_t element)
{
    ElementRecord& record = index[element];
    const std::wstring tags = L"></" + std::wstring(TagNameAt(Head(record), 1)) + L">";
    const std::uint32_t staged = Stage(tags);
    const auto length = static_cast<std::uint32_t>(tags.size());
    text.PlaceBehind(record.end, staged, length);
    text.Remove(record.end - 2, record.end);
    record.end = staged + length;
    record.flags &= ~ElementRecord::Empty;
}

// An end tag was placed in one call and has only one "<".
std::uint32_t CMarkup::Document::EndTagOf(const ElementRecord& record) const
{
    std::uint32_t address = record.end - 1;
    while (*text.At(address) != L'<')
        --address;
    return address;
}

std::uint32_t CMarkup::Document::ParseStaged(std::uint32_t staged, std::wstring_view markup)
{
    MarkupParser parser(markup, staged, index);
    parser.Parse(cursor.parent);
    work += markup.size();
    const std::uint32_t element = parser.First();
    if (!parser.Error().empty() || !element || index[element].start != staged ||
        index[element].end != staged + markup.size())
        return 0;
    AttributeTable table;
    for (std::uint32_t number = element; number < index.Count(); ++number) {
        const ElementRecord& record = index[number];
        table.Read(markup.substr(record.start - staged, record.headLength));
        if (!table.IsWellFormed())
            return 0;
    }
    return element;
}

bool CMarkup::AppendElement(const wchar_t* name, const wchar_t* text)
{
    Document& document = *m_document;
    const std::wstring tag = name ? name : L"";
    const std::wstring data = text ? EscapeText(text) : L"";
    if (!IsTagName(tag))
        return false;
    const std::wstring markup = data.empty() ? L"<" + tag + L"/>" : L"<" + tag + L">" + data + L"</" + tag + L">";
    if (!document.CanInsert(markup.size()))
        return false;
    ElementRecord record = {};
    record.start = document.Stage(markup);
    record.headLength = static_cast<std::uint32_t>(tag.size() + 1);
    record.end = static_cast<std::uint32_t>(record.start + markup.size());
    record.flags = data.empty() ? ElementRecord::Empty : 0;
    document.Insert(document.index.Add(record));
    return true;
}

bool CMarkup::InsertMarkup(const wchar_t* xml)
{
    Document& document = *m_document;
    // A copy, because the text may be part of this document, which may move.
    const std::wstring markup(Trimmed(xml ? xml : L""));
    if (markup.empty() || !document.CanInsert(markup.size()))
        return false;
    const std::uint32_t known = document.index.Count();
    const std::uint32_t staged = document.Stage(markup);
    const std::uint32_t element = document.ParseStaged(staged, markup);
    if (!element) {
        document.text.Unstage(staged);
        document.index.Truncate(known);
        return false;
    }
    document.Insert(element);
    return true;
}

bool CMarkup::ReplaceElement(const wchar_t* xml)
{
    const std::uint32_t element = m_document->cursor.current;
    if (!element || !InsertMarkup(xml))
        return false;
    m_document->Erase(element);
    return true;
}

bool CMarkup::RemoveElement()
{
    Document& document = *m_document;
    const std::uint32_t element = document.cursor.current;
    if (!element || !document.complete)
        return false;
    const std::uint32_t before = document.index.Previous(element);
    document.Erase(element);
    document.cursor.MoveTo(before);
    return true;
}

#include "xml/MarkupDocument.h"

#include "xml/MarkupParser.h"

#include <algorithm>

void CMarkup::Document::Cursor::MoveTo(std::uint32_t element)
{
    current = element;
    child = 0;
    type = element ? NodeType::Element : NodeType::ElementEnd;
}

void CMarkup::Document::Clear()
{
    text.Reset({});
    index.Reset(0);
    cursor = {};
    result.Empty();
    parseError.Empty();
    parseErrorPlace = {};
    places.Reset();
    strayTexts.clear();
    complete = true;
    attributesOf = 0;
}

void CMarkup::Document::Parse(const CString& doc)
{
    text.Reset(doc);
    places.Reset();
    parseErrorPlace = {};
    cursor = {};
    attributesOf = 0;
    std::wstring error = BuildIndex(parseErrorPlace);
    complete = error.empty();
    // An error of the whole document says more than an error of one tag.
    if (const std::wstring structure = StructureError(parseErrorPlace); !structure.empty())
        error = structure;
    parseError = error;
    if (!result.IsEmpty() && !error.empty())
        result += L", ";
    result += parseError;
}

std::wstring CMarkup::Document::BuildIndex(TextPlace& place)
{
    const std::wstring_view doc = text.Base().View();
    index.Reset(doc.size());
    MarkupParser parser(doc, 0, index);
    parser.Parse(0);
    index[0].firstChild = parser.First();
    strayTexts = parser.StrayTexts();
    work += doc.size();
    if (!parser.Error().empty())
        place = places.Of(doc, parser.ErrorOffset());
    return parser.Error();
}

std::wstring CMarkup::Document::StructureError(TextPlace& place)
{
    if (text.Length() == 0)
        return L"Empty document";
    const std::uint32_t root = index[0].firstChild;
    if (root == 0)
        return L"No root element";
    if (!index[root].next)
        return L"";
    place = PlaceOf(index[root].next);
    return L"Root element has sibling";
}

TextPlace CMarkup::Document::PlaceOf(std::uint32_t element)
{
    Flatten();
    return places.Of(text.Base().View(), index[element].start);
}

void CMarkup::Document::Flatten()
{
    if (text.IsFlat())
        return;
    Relocation relocated = text.Flatten();
    // Removed elements are moved, too; no link leads to them any more.
    for (std::uint32_t number = 1; number < index.Count(); ++number) {
        ElementRecord& record = index[number];
        record.start = relocated(record.start);
        record.end = relocated(record.end - 1) + 1;
    }
    work += index.Count();
    attributesOf = 0;
    places.Reset();
    strayTexts.clear();
}

CMarkup::StrayText CMarkup::Document::StrayTextAt(std::size_t offset, TextPlaces& from)
{
    const std::wstring_view doc = text.Base().View();
    while (offset < doc.size() && IsMarkupSpace(doc[offset]))
        ++offset;
    std::wstring_view line = doc.substr(offset, doc.find_first_of(L"\r\n", offset) - offset);
    if (!line.starts_with(L"<![CDATA["))
        line = line.substr(0, line.find(L'<'));
    while (!line.empty() && IsMarkupSpace(line.back()))
        line.remove_suffix(1);
    const ElementRecord& root = index[index[0].firstChild];
    const auto where = offset < root.start ? StrayText::Where::BeforeRoot
                       : offset < root.end ? StrayText::Where::InRoot
                                           : StrayText::Where::BehindRoot;
    return {from.Of(doc, offset), line, where};
}

bool CMarkup::Document::HasName(std::uint32_t element, std::wstring_view name) const
{
    const std::wstring_view found = Head(index[element]).substr(1);
    // A name with units that no tag name has would be found in the text behind the name.
    return found.starts_with(name) && (found.size() == name.size() || EndsTagName(found[name.size()])) &&
           std::none_of(name.begin(), name.end(), EndsTagName);
}

const AttributeTable& CMarkup::Document::AttributesOf(std::uint32_t element)
{
    if (attributesOf != element) {
        attributes.Read(Head(index[element]));
        attributesOf = element;
        work += index[element].headLength;
    }
    return attributes;
}

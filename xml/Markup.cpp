#include "xml/Markup.h"

#include "xml/MarkupDocument.h"
#include "xml/MarkupEscape.h"

namespace
{

std::wstring_view ViewOf(const wchar_t* text) { return text ? std::wstring_view(text) : std::wstring_view(); }

// Returns the content of a CDATA section.
std::wstring_view CDataContent(std::wstring_view section)
{
    constexpr std::size_t opening = 9; // <![CDATA[
    constexpr std::size_t closing = 3; // ]]>
    return section.substr(opening, section.size() - opening - closing);
}

// Returns the element's own text from the content behind its start tag.
std::wstring DirectText(std::wstring_view content)
{
    std::wstring text;
    MarkupTokenizer tokenizer(content);
    MarkupNode node;
    std::size_t depth = 0;
    while (tokenizer.Next(node) == MarkupTokenizer::Step::Node) {
        const std::wstring_view markup = content.substr(node.offset, node.length);
        if (node.type == NodeType::ElementEnd && depth-- == 0)
            break;
        if (node.type == NodeType::Element && !node.empty)
            ++depth;
        if (depth)
            continue;
        if (node.type == NodeType::Text || node.type == NodeType::Whitespace)
            Unescape(markup, text);
        else if (node.type == NodeType::CData)
            text += CDataContent(markup);
    }
    return text;
}

} // namespace

namespace
{

// Bytes in UTF-8, units in UTF-16. A document takes several times as much memory, so that a user who may write a file
// of rules could use up all of it.
constexpr std::size_t LongestDocument = 256 * 1024 * 1024;

} // namespace

CMarkup::CMarkup() : m_document(std::make_unique<Document>()) { m_document->Clear(); }
CMarkup::~CMarkup() = default;
CMarkup::CMarkup(CMarkup&&) noexcept = default;
CMarkup& CMarkup::operator=(CMarkup&&) noexcept = default;

bool CMarkup::Load(const wchar_t* path)
{
    Document& document = *m_document;
    document.Clear();
    document.flags = 0;
    CString text;
    if (!ReadTextFile(path, text, &document.result, &document.flags, {.longest = LongestDocument}))
        return false;
    document.Parse(text);
    return true;
}

bool CMarkup::Save(const wchar_t* path)
{
    return WriteTextFile(path, GetDoc(), &m_document->result, &m_document->flags);
}

bool CMarkup::Encode(std::string& bytes) const { return EncodeText(GetDoc(), m_document->flags, bytes); }

bool CMarkup::SetDoc(const wchar_t* text) { return SetDoc(CString(text)); }

bool CMarkup::SetDoc(const CString& text)
{
    // The text may be this document's own.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): so it goes when the document is cleared
    const CString doc = text;
    m_document->Clear();
    m_document->flags = 0;
    m_document->Parse(doc);
    return m_document->parseError.IsEmpty();
}

const CString& CMarkup::GetDoc() const
{
    m_document->Flatten();
    return m_document->text.Base();
}

const CString& CMarkup::GetResult() const { return m_document->result; }
const CString& CMarkup::GetParseError() const { return m_document->parseError; }
TextPlace CMarkup::GetParseErrorPlace() const { return m_document->parseErrorPlace; }
std::uint64_t CMarkup::Work() const { return m_document->work + m_document->text.Work(); }

void CMarkup::ResetPosition() { m_document->cursor = {}; }

bool CMarkup::FindElement(const wchar_t* name)
{
    Document& document = *m_document;
    const ElementIndex& index = document.index;
    const auto& cursor = document.cursor;
    const std::wstring_view wanted = ViewOf(name);
    std::uint32_t element = cursor.current ? index[cursor.current].next : index[cursor.parent].firstChild;
    for (; element; element = index[element].next) {
        ++document.work;
        if (document.HasName(element, wanted)) {
            document.cursor.MoveTo(element);
            return true;
        }
    }
    return false;
}

bool CMarkup::NextElement()
{
    Document& document = *m_document;
    const auto& cursor = document.cursor;
    const std::uint32_t element =
        cursor.current ? document.index[cursor.current].next : document.index[cursor.parent].firstChild;
    ++document.work;
    if (element)
        document.cursor.MoveTo(element);
    return element != 0;
}

bool CMarkup::EnterElement()
{
    auto& cursor = m_document->cursor;
    if (!cursor.current || cursor.type != NodeType::Element)
        return false;
    const std::uint32_t parent = cursor.current;
    cursor.MoveTo(cursor.child);
    cursor.parent = parent;
    return true;
}

bool CMarkup::LeaveElement()
{
    auto& cursor = m_document->cursor;
    if (!cursor.parent)
        return false;
    const std::uint32_t left = cursor.current;
    cursor.MoveTo(cursor.parent);
    cursor.parent = m_document->index[cursor.parent].parent;
    cursor.child = left;
    return true;
}

CString CMarkup::GetAttribute(const wchar_t* name) const { return CString(GetAttributeView(ViewOf(name))); }

std::wstring_view CMarkup::GetAttributeView(std::wstring_view name) const
{
    Document& document = *m_document;
    if (!document.cursor.current)
        return {};
    const AttributeTable::Value value = document.AttributesOf(document.cursor.current).Find(name);
    if (value.plain)
        return value.text;
    document.decoded.clear();
    Unescape(value.text, document.decoded);
    return document.decoded;
}

std::vector<std::wstring_view> CMarkup::GetAttributeNames() const
{
    std::vector<std::wstring_view> names;
    if (m_document->cursor.current) {
        const AttributeTable& attributes = m_document->AttributesOf(m_document->cursor.current);
        for (std::size_t i = 0; i < attributes.Count(); ++i)
            names.push_back(attributes.NameAt(i));
    }
    return names;
}

std::size_t CMarkup::CountAttributes() const
{
    return m_document->cursor.current ? m_document->AttributesOf(m_document->cursor.current).Count() : 0;
}

bool CMarkup::IsAttributeQuoted(std::wstring_view name) const
{
    return m_document->cursor.current && m_document->AttributesOf(m_document->cursor.current).Find(name).quoted;
}

std::vector<std::wstring_view> CMarkup::GetAmpersandAttributes() const
{
    std::vector<std::wstring_view> names;
    if (!m_document->cursor.current)
        return names;
    const AttributeTable& attributes = m_document->AttributesOf(m_document->cursor.current);
    for (std::size_t i = 0; i < attributes.Count(); ++i)
        if (!attributes.ValueAt(i).plain && HasPlainAmpersand(attributes.ValueAt(i).text))
            names.push_back(attributes.NameAt(i));
    return names;
}

std::vector<CMarkup::StrayText> CMarkup::GetStrayTexts() const
{
    std::vector<StrayText> texts;
    if (!m_document->text.IsFlat())
        return texts;
    TextPlaces places;
    for (const std::size_t offset : m_document->strayTexts)
        texts.push_back(m_document->StrayTextAt(offset, places));
    return texts;
}

bool CMarkup::HasQuotedAttributes() const
{
    return !m_document->cursor.current || m_document->AttributesOf(m_document->cursor.current).IsQuoted();
}

std::wstring_view CMarkup::GetElementName() const
{
    const Document& document = *m_document;
    if (!document.cursor.current)
        return {};
    return TagNameAt(document.Head(document.index[document.cursor.current]), 1);
}

TextPlace CMarkup::GetElementPlace() const
{
    return m_document->cursor.current ? m_document->PlaceOf(m_document->cursor.current) : TextPlace();
}

bool CMarkup::HasChild(std::wstring_view name) const
{
    const Document& document = *m_document;
    if (!document.cursor.current)
        return false;
    std::uint32_t child = document.index[document.cursor.current].firstChild;
    while (child && !document.HasName(child, name))
        child = document.index[child].next;
    return child != 0;
}

CString CMarkup::GetElementText() const
{
    const Document& document = *m_document;
    if (!document.cursor.current)
        return {};
    const ElementRecord& record = document.index[document.cursor.current];
    if (record.flags & ElementRecord::Empty)
        return {};
    std::wstring scratch;
    const std::wstring_view markup = document.text.Range(record.start, record.end, scratch);
    return CString(std::wstring_view(DirectText(markup.substr(record.headLength + 1))));
}

CString CMarkup::GetElementMarkup() const
{
    const Document& document = *m_document;
    if (!document.cursor.current)
        return {};
    const ElementRecord& record = document.index[document.cursor.current];
    std::wstring scratch;
    return CString(document.text.Range(record.start, record.end, scratch));
}

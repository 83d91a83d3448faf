#include "xml/MarkupParser.h"

namespace
{

std::wstring Quoted(std::wstring_view name) { return L"'" + std::wstring(name) + L"'"; }
std::wstring AtOffset(std::size_t offset) { return L" at offset " + std::to_wstring(offset); }

} // namespace

MarkupParser::MarkupParser(std::wstring_view text, std::uint32_t base, ElementIndex& index)
    : m_text(text),
      m_base(base),
      m_index(index),
      m_tokenizer(text)
{
}

void MarkupParser::Parse(std::uint32_t parent)
{
    m_outside = m_open = parent;
    MarkupNode node;
    auto step = m_tokenizer.Next(node);
    for (; step == MarkupTokenizer::Step::Node; step = m_tokenizer.Next(node)) {
        if (node.type == NodeType::Element) {
            Start(node);
        } else if (node.type == NodeType::ElementEnd && !End(node)) {
            CloseOpenElements(node.offset);
            return;
        } else if (IsStray(node)) {
            m_strayTexts.push_back(node.offset);
        }
    }
    if (step == MarkupTokenizer::Step::Failed) {
        Fail(m_tokenizer.GetFailure());
    } else if (m_open != m_outside) {
        const ElementRecord& open = m_index[m_open];
        m_errorOffset = OffsetOf(open);
        m_error = L"Element " + Quoted(NameOf(open)) + AtOffset(OffsetOf(open)) + L" not ended";
    }
    CloseOpenElements(m_tokenizer.Position());
}

void MarkupParser::Start(const MarkupNode& node)
{
    const auto start = static_cast<std::uint32_t>(m_base + node.offset);
    ElementRecord record = {};
    record.start = start;
    record.headLength = static_cast<std::uint32_t>(node.headLength);
    record.end = static_cast<std::uint32_t>(start + node.length);
    record.flags = node.empty ? ElementRecord::Empty : 0;
    record.parent = m_open;
    const std::uint32_t number = m_index.Add(record);
    m_index.LinkLast(m_open == m_outside ? m_first : m_index[m_open].firstChild, number);
    if (!node.empty)
        m_open = number;
}

bool MarkupParser::IsStray(const MarkupNode& node) const
{
    return (node.type == NodeType::Text || node.type == NodeType::CData) &&
           (m_open == m_outside || m_index[m_open].parent == m_outside);
}

bool MarkupParser::End(const MarkupNode& node)
{
    const std::wstring_view name = TagNameAt(m_text, node.offset + 2);
    m_errorOffset = node.offset;
    if (m_open == m_outside) {
        m_error = L"No start tag for end tag " + Quoted(name) + AtOffset(node.offset);
        return false;
    }
    ElementRecord& open = m_index[m_open];
    // A unit that ends names follows the start tag's name. So only as many units as the end tag's name has need be
    // compared, however long the start tag's name is.
    const std::wstring_view start = m_text.substr(OffsetOf(open) + 1);
    if (!start.starts_with(name) || !EndsTagName(start[name.size()])) {
        m_error = L"End tag " + Quoted(name) + AtOffset(node.offset) + L" does not match start tag " +
                  Quoted(NameOf(open)) + AtOffset(OffsetOf(open));
        return false;
    }
    open.end = static_cast<std::uint32_t>(m_base + node.offset + node.length);
    m_open = open.parent;
    return true;
}

void MarkupParser::Fail(const MarkupTokenizer::Failure& failure)
{
    m_errorOffset = failure.offset;
    const std::wstring where = failure.construct + AtOffset(failure.offset);
    m_error = failure.unterminated ? where + L" unterminated" : L"Incorrect " + where;
}

void MarkupParser::CloseOpenElements(std::size_t stop)
{
    for (; m_open != m_outside; m_open = m_index[m_open].parent) {
        m_index[m_open].end = static_cast<std::uint32_t>(m_base + stop);
        m_index[m_open].flags |= ElementRecord::NotEnded;
    }
}

std::wstring MarkupParser::NameOf(const ElementRecord& record) const
{
    return std::wstring(TagNameAt(m_text, OffsetOf(record) + 1));
}

#include "xml/MarkupTokenizer.h"

#include <algorithm>

namespace
{

constexpr std::size_t Nowhere = std::wstring_view::npos;
constexpr const wchar_t* kNameCharacter = L"tag name character";

} // namespace

std::wstring_view TagNameAt(std::wstring_view text, std::size_t start)
{
    std::size_t end = start;
    while (end < text.size() && !EndsTagName(text[end]))
        ++end;
    return text.substr(start, end - start);
}

MarkupTokenizer::Step MarkupTokenizer::Next(MarkupNode& node)
{
    if (m_next == m_text.size())
        return Step::End;
    if (m_text[m_next] != L'<')
        return ReadText(node);
    if (m_next + 1 == m_text.size())
        return Unterminated(L"Element tag");
    switch (m_text[m_next + 1]) {
    case L'/':
        return ReadEndTag(node);
    case L'!':
        return ReadDeclaration(node);
    case L'?':
        return ReadUntil(node, NodeType::ProcessingInstruction, m_next + 2, L"?>", L"Processing instruction");
    default:
        return ReadStartTag(node);
    }
}

MarkupTokenizer::Step MarkupTokenizer::ReadText(MarkupNode& node)
{
    std::size_t end = m_next;
    while (end < m_text.size() && IsMarkupSpace(m_text[end]))
        ++end;
    if (end == m_text.size() || m_text[end] == L'<')
        return Take(node, NodeType::Whitespace, end);
    return Take(node, NodeType::Text, std::min(m_text.find(L'<', end), m_text.size()));
}

MarkupTokenizer::Step MarkupTokenizer::ReadStartTag(MarkupNode& node)
{
    const std::size_t nameStart = m_next + 1;
    std::size_t at = nameStart + TagNameAt(m_text, nameStart).size();
    if (at == m_text.size())
        return Unterminated(L"Element tag");
    const wchar_t after = m_text[at];
    if (at == nameStart || (after != L'>' && after != L'/' && !IsMarkupSpace(after)))
        return Incorrect(kNameCharacter, at);
    for (; at < m_text.size(); ++at) {
        const wchar_t unit = m_text[at];
        if (unit == L'"' || unit == L'\'') {
            at = SkipQuoted(at);
        } else if (unit == L'<') {
            return Incorrect(kNameCharacter, at);
        } else if (unit == L'>') {
            node.empty = m_text[at - 1] == L'/';
            node.headLength = at - m_next - (node.empty ? 1 : 0);
            return Take(node, NodeType::Element, at + 1);
        }
    }
    return Unterminated(L"Element tag");
}

// Returns the place of the closing quotation mark, or of the last unit when there is none.
std::size_t MarkupTokenizer::SkipQuoted(std::size_t quote) const
{
    return std::min(m_text.find(m_text[quote], quote + 1), m_text.size() - 1);
}

MarkupTokenizer::Step MarkupTokenizer::ReadEndTag(MarkupNode& node)
{
    const std::size_t nameStart = m_next + 2;
    std::size_t at = nameStart + TagNameAt(m_text, nameStart).size();
    if (at == nameStart && at < m_text.size())
        return Incorrect(kNameCharacter, at);
    while (at < m_text.size() && IsMarkupSpace(m_text[at]))
        ++at;
    if (at == m_text.size())
        return Unterminated(L"Element end tag");
    if (m_text[at] != L'>')
        return Incorrect(kNameCharacter, at);
    return Take(node, NodeType::ElementEnd, at + 1);
}

MarkupTokenizer::Step MarkupTokenizer::ReadDeclaration(MarkupNode& node)
{
    const std::size_t kind = m_next + 2;
    if (kind == m_text.size())
        return Unterminated(L"Element tag");
    switch (m_text[kind]) {
    case L'-':
        return ReadComment(node);
    case L'[':
        return ReadCData(node);
    case L'D':
        return ReadDocType(node);
    default:
        return Incorrect(L"! tag", kind);
    }
}

bool MarkupTokenizer::ReadKeyword(std::wstring_view keyword, const wchar_t* construct, const wchar_t* incorrect)
{
    const std::size_t start = m_next + 2;
    for (std::size_t i = 0; i < keyword.size(); ++i) {
        if (start + i == m_text.size()) {
            Unterminated(construct);
            return false;
        }
        if (m_text[start + i] != keyword[i]) {
            Incorrect(incorrect, start + i);
            return false;
        }
    }
    return true;
}

MarkupTokenizer::Step MarkupTokenizer::ReadComment(MarkupNode& node)
{
    if (!ReadKeyword(L"--", L"Comment", L"comment tag"))
        return Step::Failed;
    return ReadUntil(node, NodeType::Comment, m_next + 4, L"-->", L"Comment");
}

MarkupTokenizer::Step MarkupTokenizer::ReadCData(MarkupNode& node)
{
    if (!ReadKeyword(L"[CDATA[", L"CDATA Section", L"! tag"))
        return Step::Failed;
    return ReadUntil(node, NodeType::CData, m_next + 9, L"]]>", L"CDATA Section");
}

// An internal subset contains declarations, each with a ">" of its own, and texts in which a ">" has no meaning.
MarkupTokenizer::Step MarkupTokenizer::ReadDocType(MarkupNode& node)
{
    if (!ReadKeyword(L"DOCTYPE", L"Doctype", L"! tag"))
        return Step::Failed;
    std::size_t open = 1;
    for (std::size_t at = m_next + 9; at < m_text.size(); ++at) {
        const std::wstring_view rest = m_text.substr(at);
        if (rest.starts_with(L"<!--") || rest.starts_with(L"<?")) {
            const bool comment = rest[1] == L'!';
            const std::size_t end = rest.find(comment ? L"-->" : L"?>", comment ? 4 : 2);
            if (end == Nowhere)
                break;
            at += end + (comment ? 2 : 1);
        } else if (rest[0] == L'"' || rest[0] == L'\'') {
            at = SkipQuoted(at);
        } else if (rest[0] == L'<') {
            ++open;
        } else if (rest[0] == L'>' && --open == 0) {
            return Take(node, NodeType::DocType, at + 1);
        }
    }
    return Unterminated(L"Doctype");
}

MarkupTokenizer::Step MarkupTokenizer::ReadUntil(MarkupNode& node, NodeType type, std::size_t from,
                                                 std::wstring_view closing, const wchar_t* construct)
{
    const std::size_t end = m_text.find(closing, from);
    return end == Nowhere ? Unterminated(construct) : Take(node, type, end + closing.size());
}

MarkupTokenizer::Step MarkupTokenizer::Take(MarkupNode& node, NodeType type, std::size_t end)
{
    node.type = type;
    node.offset = m_next;
    node.length = end - m_next;
    m_next = end;
    return Step::Node;
}

MarkupTokenizer::Step MarkupTokenizer::Unterminated(const wchar_t* construct)
{
    m_failure = {construct, m_next, true};
    return Step::Failed;
}

MarkupTokenizer::Step MarkupTokenizer::Incorrect(const wchar_t* construct, std::size_t offset)
{
    m_failure = {construct, offset, false};
    return Step::Failed;
}

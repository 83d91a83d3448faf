// Cuts a text into XML constructs, one at a time, in one pass.
//
// It does not follow nesting: the parser does that. It holds only a view, so that the text must outlive it. One object
// belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

enum class NodeType : std::uint16_t {
    ElementEnd = 0,
    Element = 1,
    Text = 2,
    Whitespace = 4,
    CData = 8,
    ProcessingInstruction = 16,
    Comment = 32,
    DocType = 64,
};

struct MarkupNode {
    NodeType type;
    bool empty;             // <name/>
    std::size_t offset;     // place of its first unit
    std::size_t length;     // all of its units
    std::size_t headLength; // of a start tag: without its closing ">" or "/>"
};

// IsMarkupSpace and EndsTagName are called for nearly every unit of a document, hence the bit masks: one bit for each
// of the first 64 units.
constexpr std::uint64_t MaskOf(std::wstring_view units)
{
    std::uint64_t mask = 0;
    for (const wchar_t unit : units)
        mask |= std::uint64_t(1) << unit;
    return mask;
}
constexpr bool IsInMask(std::uint64_t mask, wchar_t unit)
{
    return static_cast<std::uint32_t>(unit) < 64 && (mask >> unit & 1);
}
constexpr std::uint64_t Spaces = MaskOf(L" \t\n\r");
constexpr std::uint64_t NameEnds = Spaces | MaskOf(L"<>=/?!");
constexpr bool IsMarkupSpace(wchar_t unit) { return IsInMask(Spaces, unit); }
constexpr bool EndsTagName(wchar_t unit) { return IsInMask(NameEnds, unit) || unit == L'\\'; }
// Returns the tag name that begins at `start`; empty when there is none.
std::wstring_view TagNameAt(std::wstring_view text, std::size_t start);

class MarkupTokenizer
{
public:
    enum class Step { Node, End, Failed };

    // `construct` is a fixed part of the message for people.
    struct Failure {
        const wchar_t* construct;
        std::size_t offset;
        bool unterminated;
    };

    explicit MarkupTokenizer(std::wstring_view text) : m_text(text) {}

    // Reads the next construct. After Failed or End, every call returns the same.
    Step Next(MarkupNode& node);
    const Failure& GetFailure() const { return m_failure; }
    std::size_t Position() const { return m_next; }

private:
    Step ReadText(MarkupNode& node);
    Step ReadStartTag(MarkupNode& node);
    Step ReadEndTag(MarkupNode& node);
    Step ReadDeclaration(MarkupNode& node);
    Step ReadComment(MarkupNode& node);
    Step ReadCData(MarkupNode& node);
    Step ReadDocType(MarkupNode& node);
    // Reads up to the end of `closing`, which is searched for from `from` on.
    Step ReadUntil(MarkupNode& node, NodeType type, std::size_t from, std::wstring_view closing,
                   const wchar_t* construct);
    // Returns true when the declaration continues with `keyword`; otherwise sets the failure.
    bool ReadKeyword(std::wstring_view keyword, const wchar_t* construct, const wchar_t* incorrect);
    std::size_t SkipQuoted(std::size_t quote) const;

    Step Take(MarkupNode& node, NodeType type, std::size_t end);
    Step Unterminated(const wchar_t* construct);
    Step Incorrect(const wchar_t* construct, std::size_t offset);

    std::wstring_view m_text;
    std::size_t m_next = 0;
    Failure m_failure = {};
};

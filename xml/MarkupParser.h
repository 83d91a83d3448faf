// Builds the element index of a text, in one pass and without recursion: the
// open elements are found through the records' own parents, so that the depth
// of a document costs nothing.
#pragma once

#include "xml/ElementIndex.h"
#include "xml/MarkupTokenizer.h"

#include <string>
#include <string_view>

class MarkupParser
{
public:
    // The text's first unit has the address `base`.
    MarkupParser(std::wstring_view text, std::uint32_t base, ElementIndex& index);

    // Adds the text's elements; the outermost ones get `parent`, and are linked
    // to each other but not into the parent. Stops at the first error, with what
    // came before it indexed.
    void Parse(std::uint32_t parent);

    // The first of the outermost elements; 0 when there is none.
    std::uint32_t First() const { return m_first; }
    // For people; offsets count from the text's beginning. Empty when all is well.
    const std::wstring& Error() const { return m_error; }

private:
    void Start(const MarkupNode& node);
    bool End(const MarkupNode& node);
    void Fail(const MarkupTokenizer::Failure& failure);
    void CloseOpenElements(std::size_t stop);
    std::wstring NameOf(const ElementRecord& record) const;
    std::size_t OffsetOf(const ElementRecord& record) const { return record.start - m_base; }

    std::wstring_view m_text;
    std::uint32_t m_base;
    ElementIndex& m_index;
    MarkupTokenizer m_tokenizer;
    std::uint32_t m_outside = 0; // the parent of the outermost elements
    std::uint32_t m_open = 0;    // the innermost open element
    std::uint32_t m_first = 0;
    std::wstring m_error;
};

// Builds the element index of a text, in one pass and without recursion. It finds the open elements through the
// records' own parents, so that the depth of a document costs nothing.
#pragma once

#include "xml/ElementIndex.h"
#include "xml/MarkupTokenizer.h"

#include <string>
#include <string_view>
#include <vector>

class MarkupParser
{
public:
    // `base` is the address of the text's first unit.
    MarkupParser(std::wstring_view text, std::uint32_t base, ElementIndex& index);

    // Adds the text's elements. The outermost ones get `parent`; they are linked to each other, but not into the
    // parent. Stops at the first error; the elements before it are indexed.
    void Parse(std::uint32_t parent);

    // Returns the first of the outermost elements; 0 when there is none.
    std::uint32_t First() const { return m_first; }
    // Returns the offsets of the texts, other than white space, that stand beside the outermost elements or directly in
    // one of them.
    const std::vector<std::size_t>& StrayTexts() const { return m_strayTexts; }

    // Returns the error for people; its offsets count from the text's beginning. Empty when there is none.
    const std::wstring& Error() const { return m_error; }
    // Returns the offset that the error names.
    std::size_t ErrorOffset() const { return m_errorOffset; }

private:
    void Start(const MarkupNode& node);
    bool End(const MarkupNode& node);
    bool IsStray(const MarkupNode& node) const;
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
    std::vector<std::size_t> m_strayTexts;
    std::wstring m_error;
    std::size_t m_errorOffset = 0;
};

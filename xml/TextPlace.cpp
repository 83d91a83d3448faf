#include "xml/TextPlace.h"

#include <algorithm>

TextPlace TextPlaces::Of(std::wstring_view text, std::size_t offset)
{
    if (offset < m_offset)
        Reset();
    const std::size_t end = std::min(offset, text.size());
    for (; m_offset < end; ++m_offset) {
        const bool crOfPair = text[m_offset] == L'\r' && m_offset + 1 < text.size() && text[m_offset + 1] == L'\n';
        if (text[m_offset] == L'\n' || (text[m_offset] == L'\r' && !crOfPair)) {
            ++m_line;
            m_lineStart = m_offset + 1;
        }
    }
    return {m_line, static_cast<std::uint32_t>(end - m_lineStart + 1)};
}

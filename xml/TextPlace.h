// A place in a text as an editor shows it, for messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Line and column begin with 1; columns are 16-bit units. Line 0 means no place.
struct TextPlace {
    std::uint32_t line = 0;
    std::uint32_t column = 0;

    bool operator==(const TextPlace&) const = default;
};

// Finds places from front to back: each search goes on where the last one has ended, so that all places of a text cost
// one pass. One object belongs to one thread.
class TextPlaces
{
public:
    // Begins anew, for another text.
    void Reset() { *this = {}; }
    // `text` must be the one of the last call, except after Reset. Lines end with \n, \r or both.
    TextPlace Of(std::wstring_view text, std::size_t offset);

private:
    std::size_t m_offset = 0;
    std::size_t m_lineStart = 0;
    std::uint32_t m_line = 1;
};

#include "xml/Utf8.h"

#include <cstdint>
#include <cstring>

namespace
{

constexpr std::uint32_t Replacement = '?';

bool IsAscii(unsigned char byte) { return byte < 0x80; }
bool IsSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

// The meaning of a lead byte. A stray continuation byte counts as a lead of two bytes.
struct Lead {
    unsigned following;
    unsigned bits;
};

Lead LeadOf(unsigned char byte)
{
    if (byte < 0xE0)
        return {1, byte & 0x1Fu};
    if (byte < 0xF0)
        return {2, byte & 0x0Fu};
    return {3, byte & 0x07u};
}

// Returns true for eight bytes that are all below 80 hex and not zero.
bool IsPlainAscii(const char* bytes)
{
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    constexpr std::uint64_t ones = 0x0101010101010101u;
    constexpr std::uint64_t high = 0x8080808080808080u;
    return ((word | (word - ones)) & high) == 0;
}

class Utf8Reader
{
public:
    explicit Utf8Reader(std::string_view bytes) : m_next(bytes.data()), m_end(bytes.data() + bytes.size()) {}

    // Returns eight plain characters without copying them; null when another character comes first.
    const char* NextRun()
    {
        if (m_end - m_next < 8 || !IsPlainAscii(m_next))
            return nullptr;
        m_next += 8;
        return m_next - 8;
    }

    // Returns the next code point; 0 at the end of the text.
    std::uint32_t Next()
    {
        if (m_next == m_end)
            return 0;
        const auto first = static_cast<unsigned char>(*m_next++);
        if (IsAscii(first))
            return first;
        if (first >= 0xF8)
            return Replacement;
        auto [following, code] = LeadOf(first);
        for (; following; --following) {
            if (m_next == m_end)
                return 0;
            const auto byte = static_cast<unsigned char>(*m_next);
            // This byte is a character of its own and will be read again.
            if (IsAscii(byte))
                return Replacement;
            code = code << 6 | (byte & 0x3Fu);
            ++m_next;
        }
        return code;
    }

private:
    const char* m_next;
    const char* m_end;
};

std::size_t EncodedLength(std::uint32_t code)
{
    if (code < 0x80)
        return 1;
    if (code < 0x800)
        return 2;
    return code < 0x10000 ? 3 : 4;
}

char* EncodeOne(std::uint32_t code, char* out)
{
    const auto continuation = [code](unsigned shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    switch (EncodedLength(code)) {
    case 1:
        *out++ = static_cast<char>(code);
        return out;
    case 2:
        *out++ = static_cast<char>(0xC0 | code >> 6);
        break;
    case 3:
        *out++ = static_cast<char>(0xE0 | code >> 12);
        *out++ = continuation(6);
        break;
    default:
        *out++ = static_cast<char>(0xF0 | code >> 18);
        *out++ = continuation(12);
        *out++ = continuation(6);
    }
    *out++ = continuation(0);
    return out;
}

// Returns the code point at `next`, and moves `next` behind it.
std::uint32_t NextCodePoint(std::wstring_view units, std::size_t& next)
{
    const std::uint32_t unit = static_cast<std::uint16_t>(units[next++]);
    if (!IsSurrogate(unit))
        return unit;
    if (next == units.size())
        return Replacement;
    const std::uint32_t partner = static_cast<std::uint16_t>(units[next++]);
    return ((partner & 0x3FF) | (unit & 0x3FF) << 10) + 0x10000;
}

} // namespace

std::size_t CountUnits(std::string_view bytes)
{
    Utf8Reader reader(bytes);
    std::size_t count = 0;
    for (;;) {
        while (reader.NextRun())
            count += 8;
        const std::uint32_t code = reader.Next();
        if (!code)
            return count;
        count += code > 0xFFFF ? 2 : 1;
    }
}

std::size_t DecodeUtf8(std::string_view bytes, wchar_t* units)
{
    Utf8Reader reader(bytes);
    wchar_t* out = units;
    for (;;) {
        while (const char* run = reader.NextRun())
            for (int i = 0; i < 8; ++i)
                *out++ = static_cast<wchar_t>(run[i]);
        const std::uint32_t code = reader.Next();
        if (!code)
            return static_cast<std::size_t>(out - units);
        if (code > 0xFFFF) {
            *out++ = static_cast<wchar_t>(0xD800 | ((code - 0x10000) >> 10 & 0x3FF));
            *out++ = static_cast<wchar_t>(0xDC00 | (code & 0x3FF));
        } else {
            *out++ = static_cast<wchar_t>(code);
        }
    }
}

std::string EncodeUtf8(std::wstring_view units)
{
    std::size_t length = 0;
    for (std::size_t next = 0; next < units.size();)
        length += EncodedLength(NextCodePoint(units, next));
    std::string bytes(length, '\0');
    char* out = bytes.data();
    for (std::size_t next = 0; next < units.size();)
        out = EncodeOne(NextCodePoint(units, next), out);
    return bytes;
}

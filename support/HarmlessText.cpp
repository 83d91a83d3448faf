#include "support/HarmlessText.h"

#include <array>
#include <cstdio>

namespace
{

constexpr wchar_t Replacement = 0xFFFD;

bool IsHigh(wchar_t unit) noexcept { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(wchar_t unit) noexcept { return unit >= 0xDC00 && unit < 0xE000; }

unsigned ByteAt(std::string_view text, std::size_t place) noexcept
{
    return place < text.size() ? static_cast<unsigned char>(text[place]) : 0;
}

// Decodes the character of up to three bytes that begins here. No harmful character is longer.
struct Decoded {
    unsigned unit;
    std::size_t bytes;
};
Decoded DecodeAt(std::string_view text, std::size_t place) noexcept
{
    const unsigned first = ByteAt(text, place), second = ByteAt(text, place + 1), third = ByteAt(text, place + 2);
    if ((first & 0xE0) == 0xC0 && (second & 0xC0) == 0x80)
        return {(first & 0x1F) << 6 | (second & 0x3F), 2};
    if ((first & 0xF0) == 0xE0 && (second & 0xC0) == 0x80 && (third & 0xC0) == 0x80)
        return {(first & 0x0F) << 12 | (second & 0x3F) << 6 | (third & 0x3F), 3};
    return {first, 1};
}

} // namespace

bool IsHarmfulUnit(wchar_t unit) noexcept
{
    const bool control = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool separator = unit == 0x2028 || unit == 0x2029;
    const bool direction = unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) ||
                           (unit >= 0x2066 && unit <= 0x2069);
    return control || separator || direction;
}

std::wstring HarmlessText(std::wstring_view text)
{
    std::wstring harmless(text);
    for (std::size_t i = 0; i < harmless.size(); ++i)
        if (IsHigh(harmless[i]) && i + 1 < harmless.size() && IsLow(harmless[i + 1]))
            ++i;
        else if (IsHigh(harmless[i]) || IsLow(harmless[i]) || IsHarmfulUnit(harmless[i]))
            harmless[i] = Replacement;
    return harmless;
}

std::string HarmlessJson(std::string_view json)
{
    std::string harmless;
    harmless.reserve(json.size());
    for (std::size_t place = 0; place < json.size();) {
        const Decoded decoded = DecodeAt(json, place);
        const bool single = decoded.bytes == 1 && decoded.unit >= 0x80; // a byte of a longer character
        if (!single && IsHarmfulUnit(static_cast<wchar_t>(decoded.unit))) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", decoded.unit);
            harmless += escape.data();
        } else {
            harmless += json.substr(place, decoded.bytes);
        }
        place += decoded.bytes;
    }
    return harmless;
}

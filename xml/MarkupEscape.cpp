#include "xml/MarkupEscape.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace
{

struct Entity {
    wchar_t unit;
    std::wstring_view name; // with the semicolon
};

constexpr Entity Entities[] = {{L'<', L"lt;"}, {L'&', L"amp;"}, {L'>', L"gt;"}, {L'\'', L"apos;"}, {L'"', L"quot;"}};
constexpr std::size_t LongestReplacement = 6;
constexpr std::size_t LongestReference = 7; // units after "&#" or "&#x", with the semicolon

void AppendEntity(wchar_t unit, std::wstring& out)
{
    for (const Entity& entity : Entities)
        if (entity.unit == unit)
            out.append(1, L'&').append(entity.name);
}

std::wstring Escape(std::wstring_view text, std::wstring_view special)
{
    std::wstring out;
    out.reserve(text.size() + text.size() / 5 + 7);
    for (const wchar_t unit : text) {
        // Reserves four times the room at once: a text with one such character usually has many.
        if (out.capacity() - out.size() < LongestReplacement)
            out.reserve(out.capacity() * 4);
        if (special.find(unit) == std::wstring_view::npos)
            out += unit;
        else
            AppendEntity(unit, out);
    }
    return out;
}

// A decoded unit, and how many units of the text it took.
struct Decoded {
    wchar_t unit;
    std::size_t taken;
};

std::optional<Decoded> DecodeName(std::wstring_view text)
{
    for (const Entity& entity : Entities)
        if (text.substr(1).starts_with(entity.name))
            return Decoded{entity.unit, 1 + entity.name.size()};
    return std::nullopt;
}

std::optional<unsigned> DigitValue(wchar_t unit, unsigned base)
{
    if (unit >= L'0' && unit <= L'9')
        return unit - L'0';
    if (base == 16 && unit >= L'a' && unit <= L'f')
        return unit - L'a' + 10;
    if (base == 16 && unit >= L'A' && unit <= L'F')
        return unit - L'A' + 10;
    return std::nullopt;
}

std::optional<Decoded> DecodeNumber(std::wstring_view text)
{
    const bool hexadecimal = text.starts_with(L"&#x");
    const unsigned base = hexadecimal ? 16 : 10;
    const std::size_t start = hexadecimal ? 3 : 2;
    const std::size_t length = text.substr(start, LongestReference).find(L';');
    if (length == std::wstring_view::npos || length == 0)
        return std::nullopt;
    std::uint32_t value = 0;
    for (const wchar_t unit : text.substr(start, length)) {
        const auto digit = DigitValue(unit, base);
        if (!digit)
            return std::nullopt;
        value = value * base + *digit;
    }
    // Only one unit is stored. A zero is not, because it would end the text for every reader.
    const auto unit = static_cast<std::uint16_t>(value);
    if (unit == 0)
        return std::nullopt;
    return Decoded{static_cast<wchar_t>(unit), start + length + 1};
}

std::optional<Decoded> DecodeEntity(std::wstring_view text)
{
    return text.starts_with(L"&#") ? DecodeNumber(text) : DecodeName(text);
}

} // namespace

std::wstring EscapeText(std::wstring_view text) { return Escape(text, L"<&>"); }
std::wstring EscapeAttribute(std::wstring_view text) { return Escape(text, L"<&>'\""); }

bool HasPlainAmpersand(std::wstring_view text)
{
    for (std::size_t at; (at = text.find(L'&')) != std::wstring_view::npos; text.remove_prefix(at + 1))
        if (!DecodeEntity(text.substr(at)))
            return true;
    return false;
}

void Unescape(std::wstring_view text, std::wstring& out)
{
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find(L'&'), text.size());
        out.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty())
            return;
        const auto decoded = DecodeEntity(text);
        out += decoded ? decoded->unit : L'&';
        text.remove_prefix(decoded ? decoded->taken : 1);
    }
}

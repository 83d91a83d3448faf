#include "tests/selftest/ReportText.h"

#include <windows.h>

#include <array>
#include <charconv>
#include <map>

namespace
{

// Bytes that are no UTF-8 become the character for unknown ones.
std::wstring Wide(std::string_view text)
{
    const auto size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}

std::string Narrowed(const std::wstring& text)
{
    const auto size = static_cast<int>(text.size());
    std::string narrow(text.size() * 3, '\0');
    narrow.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(),
                                                               static_cast<int>(narrow.size()), nullptr, nullptr)));
    return narrow;
}

bool IsInXml(wchar_t unit)
{
    return (unit >= L' ' || unit == L'\t' || unit == L'\n') && unit != 0xFFFE && unit != 0xFFFF;
}

// Returns nothing for a unit that stands as it is. An attribute keeps a line break only as a reference.
const wchar_t* ReferenceFor(wchar_t unit)
{
    static const std::map<wchar_t, const wchar_t*> references = {
        {L'&', L"&amp;"}, {L'<', L"&lt;"}, {L'>', L"&gt;"}, {L'"', L"&quot;"}, {L'\n', L"&#10;"}};
    const auto found = references.find(unit);
    return found == references.end() ? nullptr : found->second;
}

} // namespace

std::string Escaped(std::string_view text)
{
    std::wstring escaped;
    for (const wchar_t unit : Wide(text))
        if (const wchar_t* reference = ReferenceFor(unit))
            escaped += reference;
        else if (IsInXml(unit))
            escaped += unit;
    return Narrowed(escaped);
}

std::string Seconds(double seconds)
{
    std::array<char, 32> text = {};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), seconds, std::chars_format::fixed, 3);
    return {text.data(), end.ptr};
}

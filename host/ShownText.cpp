#include "host/ShownText.h"

#include <algorithm>

namespace
{

constexpr wchar_t Replacement = 0xFFFD;

bool IsHigh(wchar_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(wchar_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

bool BreaksTheLine(wchar_t unit)
{
    const bool control = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool separator = unit == 0x2028 || unit == 0x2029;
    const bool direction =
        unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
    return control || separator || direction;
}

bool IsPlain(wchar_t unit)
{
    constexpr std::wstring_view marks = L"\\/:._-~";
    const bool letter = (unit >= L'a' && unit <= L'z') || (unit >= L'A' && unit <= L'Z');
    // Beyond ASCII, blanks and curved quotes: some shells take these for straight ones.
    const bool foreign = unit > 0xA0 && unit != 0x3000 && !(unit >= 0x2000 && unit <= 0x202F);
    return letter || (unit >= L'0' && unit <= L'9') || foreign || marks.find(unit) != std::wstring_view::npos;
}

// A quote within, and backslashes before the closing one, are doubled up as programs take their command line apart.
std::wstring Quoted(const std::wstring& text)
{
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t unit : text) {
        if (unit == L'"')
            quoted.append(backslashes + 1, L'\\');
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        quoted += unit;
    }
    return quoted.append(backslashes, L'\\') + L"\"";
}

} // namespace

std::wstring ShownText(std::wstring_view text)
{
    std::wstring shown(text);
    for (std::size_t i = 0; i < shown.size(); ++i)
        if (IsHigh(shown[i]) && i + 1 < shown.size() && IsLow(shown[i + 1]))
            ++i;
        else if (IsHigh(shown[i]) || IsLow(shown[i]) || BreaksTheLine(shown[i]))
            shown[i] = Replacement;
    return shown;
}

std::wstring ShownPath(std::wstring_view path)
{
    std::wstring shown = ShownText(path);
    const bool plain = !shown.empty() && shown.front() != L'-' && shown.front() != L'~' &&
                       std::all_of(shown.begin(), shown.end(), IsPlain);
    return plain ? shown : Quoted(shown);
}

#include "host/ShownPath.h"

#include "support/HarmlessText.h"

#include <algorithm>

namespace
{

bool IsPlain(wchar_t unit)
{
    constexpr std::wstring_view marks = L"\\/:._-~";
    const bool letter = (unit >= L'a' && unit <= L'z') || (unit >= L'A' && unit <= L'Z');
    // Beyond ASCII, excludes blanks and curved quotes: some shells treat these as straight quotes.
    const bool foreign = unit > 0xA0 && unit != 0x3000 && !(unit >= 0x2000 && unit <= 0x202F);
    return letter || (unit >= L'0' && unit <= L'9') || foreign || marks.find(unit) != std::wstring_view::npos;
}

// A quote inside, and backslashes before the closing quote, are doubled in the way in which programs split their
// command line.
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

std::wstring ShownPath(std::wstring_view path)
{
    std::wstring shown = HarmlessText(path);
    const bool plain = !shown.empty() && shown.front() != L'-' && shown.front() != L'~' &&
                       std::all_of(shown.begin(), shown.end(), IsPlain);
    return plain ? shown : Quoted(shown);
}

#include "support/Utf8Text.h"

#include <windows.h>

std::string ToUtf8(std::wstring_view text)
{
    const int units = static_cast<int>(text.size());
    const int count = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(count), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(), count, nullptr, nullptr);
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes)
{
    const int size = static_cast<int>(bytes.size());
    const int count = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(count), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), count);
    return text;
}

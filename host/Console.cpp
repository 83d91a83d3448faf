#include "host/Console.h"

#include <fcntl.h>
#include <io.h>

#include <vector>

std::string ToUtf8(std::wstring_view text)
{
    if (text.empty())
        return {};
    const int units = static_cast<int>(text.size());
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(), length, nullptr, nullptr);
    return bytes;
}

std::wstring FromUtf8(std::string_view text)
{
    if (text.empty())
        return {};
    const int bytes = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring units(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, units.data(), length);
    return units;
}

FILE* TakeStandardOutput()
{
    std::fflush(stdout);
    const int data = _dup(_fileno(stdout));
    _dup2(_fileno(stderr), _fileno(stdout));
    _setmode(data, _O_BINARY);
    return _fdopen(data, "wb");
}

namespace
{

HANDLE g_interrupt = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD)
{
    SetEvent(g_interrupt);
    return TRUE;
}

} // namespace

HANDLE InterruptEvent()
{
    if (!g_interrupt) {
        g_interrupt = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    }
    return g_interrupt;
}

std::wstring FullPath(const std::wstring& path)
{
    const DWORD length = path.empty() ? 0 : GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    if (length == 0)
        return path;
    std::vector<wchar_t> full(length);
    GetFullPathNameW(path.c_str(), length, full.data(), nullptr);
    return full.data();
}

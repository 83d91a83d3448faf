#include "host/Console.h"

#include "host/ExitCode.h"

#include <fcntl.h>
#include <io.h>

namespace
{

// The system ends a program as soon as the program has answered the closing of its console.
constexpr DWORD TimeToEnd = 10000; // milliseconds

HANDLE g_data = nullptr;      // standard output as it was given
HANDLE g_interrupt = nullptr; // lives as long as the process: the system may use it at any time

BOOL WINAPI OnConsoleEvent(DWORD event)
{
    SetEvent(g_interrupt);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(TimeToEnd);
    return TRUE;
}

BOOL WINAPI EndAtOnce(DWORD) { ExitProcess(ExitInterrupted); }

} // namespace

bool IsUtf8(std::string_view text)
{
    const int bytes = static_cast<int>(text.size());
    return text.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), bytes, nullptr, 0) > 0;
}

FILE* TakeStandardOutput()
{
    std::fflush(stdout);
    if (_isatty(_fileno(stdout)))
        SetConsoleOutputCP(CP_UTF8);
    const int data = _dup(_fileno(stdout));
    g_data = reinterpret_cast<HANDLE>(_get_osfhandle(data));
    _dup2(_fileno(stderr), _fileno(stdout));
    _setmode(data, _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    return _fdopen(data, "wb");
}

std::vector<HANDLE> StandardStreams() { return {g_data, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stderr)))}; }

HANDLE InterruptEvent()
{
    if (!g_interrupt) {
        const std::wstring name = L"Local\\orbwatch-interrupt-" + std::to_wstring(GetCurrentProcessId());
        g_interrupt = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
        SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    }
    return g_interrupt;
}

void EndWhenInterrupted() { SetConsoleCtrlHandler(EndAtOnce, TRUE); }

double Seconds() { return static_cast<double>(GetTickCount64()) / 1000.0; }

bool IsFullPath(const std::wstring& path)
{
    const auto isSlash = [](wchar_t unit) { return unit == L'\\' || unit == L'/'; };
    const bool drive = path.size() > 2 && path[1] == L':' && isSlash(path[2]);
    return drive || (path.size() > 1 && isSlash(path[0]) && isSlash(path[1]));
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

bool FileIsThere(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool FolderIsThere(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsEmptyFile(const std::wstring& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) &&
           !(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && data.nFileSizeLow == 0 && data.nFileSizeHigh == 0;
}

std::wstring SystemText(DWORD error)
{
    wchar_t text[256] = {};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text, 256, nullptr);
    std::wstring message = text;
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' || message.back() == L' '))
        message.pop_back();
    return message.empty() ? L"error " + std::to_wstring(error) : message;
}

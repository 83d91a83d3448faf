#include "tests/support/SystemBelow.h"

#include "support/Handle.h"
#include "tests/support/EnvironmentText.h"

#include <windows.h>

std::wstring PathBelow(const std::wstring& path)
{
    using Translate = char*(CDECL*)(const wchar_t*);
    const auto translate = reinterpret_cast<Translate>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* text = translate ? translate(path.c_str()) : nullptr;
    if (!text)
        return {};
    const std::string narrow = text;
    HeapFree(GetProcessHeap(), 0, text);
    return {narrow.begin(), narrow.end()};
}

// Wine starts programs of the system below it. Such a process cannot be waited for; a file says when it is done.
bool RunBelow(const std::wstring& command)
{
    const std::wstring done = EnvironmentText(L"TEMP") + L"\\orb-done-" + std::to_wstring(GetCurrentProcessId());
    DeleteFileW(done.c_str());
    std::wstring line = L"\"Z:\\bin\\sh\" -c \"" + command + L" && touch '" + PathBelow(done) + L"'\"";
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process))
        return false;
    const KernelHandle handle(process.hProcess), thread(process.hThread);
    const ULONGLONG end = GetTickCount64() + 20000;
    while (GetFileAttributesW(done.c_str()) == INVALID_FILE_ATTRIBUTES && GetTickCount64() < end)
        Sleep(2);
    return DeleteFileW(done.c_str()) != FALSE;
}

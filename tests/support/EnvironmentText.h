// The text of an environment variable.
#pragma once

#include <windows.h>

#include <string>

// Returns an empty text when there is no such variable.
inline std::wstring EnvironmentText(const wchar_t* name)
{
    std::wstring text(1024, L'\0');
    DWORD length = GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size()));
    if (length > text.size()) {
        text.resize(length);
        length = GetEnvironmentVariableW(name, text.data(), length);
    }
    text.resize(length);
    return text;
}

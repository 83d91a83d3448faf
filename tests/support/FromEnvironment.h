// Numbers that make a stress test longer or another one.
#pragma once

#include <windows.h>

#include <cstdlib>

// What is no number above 0 counts as not given.
inline unsigned FromEnvironment(const wchar_t* name, unsigned otherwise)
{
    wchar_t text[32] = {};
    GetEnvironmentVariableW(name, text, 32);
    const int value = _wtoi(text);
    return value > 0 ? static_cast<unsigned>(value) : otherwise;
}

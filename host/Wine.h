// Tells whether the program runs under Wine. Any thread.
#pragma once

#include <windows.h>

inline bool RunsUnderWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

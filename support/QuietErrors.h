// Keeps the system from showing message boxes on this thread for as long as the object lives: a drive without a medium
// must not stop a service until a user presses a key.
#pragma once

#include <windows.h>

class QuietErrors
{
public:
    QuietErrors() { SetThreadErrorMode(GetThreadErrorMode() | SEM_FAILCRITICALERRORS, &m_before); }
    ~QuietErrors() { SetThreadErrorMode(m_before, nullptr); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    DWORD m_before = 0;
};

// Commands of Windows that tests use for what has no simple function.
#pragma once

#include "support/Handle.h"

#include <windows.h>

#include <string>

// Runs the command without a window, for two minutes at most. Returns its exit code; -1 when it cannot be run.
inline int RunCommand(std::wstring line)
{
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr, &start,
                        &process))
        return -1;
    const KernelHandle running(process.hProcess), thread(process.hThread);
    DWORD code = 1;
    if (WaitForSingleObject(running.Get(), 120000) != WAIT_OBJECT_0)
        TerminateProcess(running.Get(), 1);
    else
        GetExitCodeProcess(running.Get(), &code);
    return static_cast<int>(code);
}

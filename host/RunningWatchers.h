// Finds the watchers that run on a data folder, of this program or of a service, and those that were killed. One
// thread.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

struct MarkedRun {
    std::wstring mark; // path of the running mark
    DWORD process;
    bool running; // otherwise it was killed, or crashed
};

std::vector<MarkedRun> FindRuns(const std::wstring& dataFolder);

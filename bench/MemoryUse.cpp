#include "bench/MemoryUse.h"

#include <windows.h>

#include <psapi.h>

#include <system_error>

namespace
{

PROCESS_MEMORY_COUNTERS Counters()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "memory in use");
    return counters;
}

} // namespace

std::uint64_t MemoryInUse() { return Counters().WorkingSetSize; }
std::uint64_t PeakOfMemory() { return Counters().PeakWorkingSetSize; }

// What this process holds and held of the machine's memory, in bytes.
#pragma once

#include <cstdint>

// In use now, and the most that ever was: of real memory, as the system counts it.
std::uint64_t MemoryInUse();
std::uint64_t PeakOfMemory();

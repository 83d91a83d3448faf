// The memory that this process uses and has used at most, in bytes.
#pragma once

#include <cstdint>

// In use now, and the most that ever was: of real memory, as the system counts it.
std::uint64_t MemoryInUse();
std::uint64_t PeakOfMemory();

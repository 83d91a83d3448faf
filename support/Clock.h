// The time. Tests replace the clock by another one.
#pragma once

#include <cstdint>

class Clock
{
public:
    virtual ~Clock() = default;
    // Returns seconds since 1970, UTC.
    virtual std::int64_t Seconds() const = 0;
    // Returns a FILETIME: 100-ns units since 1601, UTC.
    virtual std::uint64_t FileTime() const = 0;
};

// Returns the machine's clock. Any thread.
const Clock& SystemClock();

// The time, as a thing that tests can put another one in place of.
#pragma once

#include <cstdint>

class Clock
{
public:
    virtual ~Clock() = default;
    // Seconds since 1970, UTC.
    virtual std::int64_t Seconds() const = 0;
    // FILETIME: 100-ns units since 1601, UTC.
    virtual std::uint64_t FileTime() const = 0;
};

// The machine's own time. Any thread.
const Clock& SystemClock();

#include "support/Clock.h"

#include <windows.h>

namespace
{

class MachineClock : public Clock
{
public:
    std::int64_t Seconds() const override
    {
        constexpr std::uint64_t from1601To1970 = 11644473600ull;
        return static_cast<std::int64_t>(FileTime() / 10000000ull - from1601To1970);
    }
    std::uint64_t FileTime() const override
    {
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        return now.dwLowDateTime | std::uint64_t(now.dwHighDateTime) << 32;
    }
};

} // namespace

const Clock& SystemClock()
{
    static const MachineClock clock;
    return clock;
}

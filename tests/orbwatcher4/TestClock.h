// A clock that stands still until the test moves it.
#pragma once

#include "support/Clock.h"

#include <atomic>

class TestClock : public Clock
{
public:
    std::int64_t Seconds() const override { return m_seconds; }
    std::uint64_t FileTime() const override
    {
        return (static_cast<std::uint64_t>(m_seconds.load()) + From1601To1970) * 10000000ull;
    }
    void Advance(std::int64_t seconds) { m_seconds += seconds; }

private:
    static constexpr std::uint64_t From1601To1970 = 11644473600ull;
    std::atomic<std::int64_t> m_seconds{1700000000};
};

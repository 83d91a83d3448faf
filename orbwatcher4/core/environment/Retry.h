// When an operation that has failed is tried again: after pauses that grow. One thread.
#pragma once

#include <algorithm>
#include <cstdint>

class Retry
{
public:
    static constexpr std::int64_t LongestPause = 60; // seconds

    // now: seconds since 1970. A time that lies too far ahead means that the clock was set back.
    bool IsDue(std::int64_t now) const { return m_at <= now || m_at > now + LongestPause; }
    void NoteAttempt(std::int64_t now)
    {
        m_at = now + m_pause;
        m_pause = std::min(m_pause * 2, LongestPause);
    }

private:
    std::int64_t m_at = 0;    // time of the next attempt
    std::int64_t m_pause = 1; // seconds until the attempt after that
};

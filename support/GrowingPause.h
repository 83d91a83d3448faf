// A growing pause before the next try of an operation that fails repeatedly. Portable. One thread at a time.
#pragma once

#include <chrono>

class GrowingPause
{
public:
    using Time = std::chrono::steady_clock::time_point;

    // There is no pause before this many failures. Then the pause is `first`, and twice as long each time, up to
    // `longest`.
    constexpr GrowingPause(int failures, std::chrono::seconds first, std::chrono::seconds longest)
        : m_mostFailures(failures),
          m_first(first),
          m_longest(longest)
    {
    }

    bool IsRunning(Time now) const { return now < m_until; }
    // Returns the end of the last pause.
    Time Until() const { return m_until; }
    // Returns the pause that begins, or 0. A failure during a pause is of an operation that began before it, and does
    // not count. After a pause, one more failure is enough for the next one.
    std::chrono::seconds Fail(Time now)
    {
        if (IsRunning(now) || ++m_failures < m_mostFailures)
            return std::chrono::seconds(0);
        const std::chrono::seconds pause = m_next.count() > 0 ? m_next : m_first;
        m_until = now + pause;
        m_next = pause * 2 < m_longest ? pause * 2 : m_longest;
        return pause;
    }
    void Succeed()
    {
        m_failures = 0;
        m_next = {};
        m_until = {};
    }

private:
    int m_mostFailures;
    std::chrono::seconds m_first, m_longest;
    int m_failures = 0;
    std::chrono::seconds m_next{0}; // 0: the first one
    Time m_until{};
};

// Measures rounds of work, and keeps the best one.
#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

class Stopwatch
{
public:
    template <typename Work>
    void Take(Work work)
    {
        const auto begin = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
        m_best = std::min(m_best, taken.count());
    }
    // In milliseconds.
    double Best() const { return m_best; }

private:
    double m_best = std::numeric_limits<double>::max();
};

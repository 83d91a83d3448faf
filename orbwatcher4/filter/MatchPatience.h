// How long an expression that gives up again and again is not asked: a hostile pattern, or hostile names, must not cost
// a fraction of a second for each file. Portable. Any thread.
#pragma once

#include "support/GrowingPause.h"

#include <atomic>
#include <mutex>

class MatchPatience
{
public:
    using Time = GrowingPause::Time;

    static constexpr int MostGiveUps = 3;
    static constexpr int AnswersToForget = 1000; // in a row; one answer between two hostile names is no improvement
    static constexpr std::chrono::seconds FirstPause{1}, LongestPause{300};

    // Returns whether the expression has given up and that is not forgotten. Costs no lock.
    bool HasGivenUp() const { return m_hasGivenUp; }
    // Returns whether the expression is switched off at the time.
    bool IsOff(Time now) const
    {
        const std::scoped_lock lock(m_mutex);
        return m_pause.IsRunning(now);
    }
    // The expression came to an answer.
    void NoteAnswer()
    {
        if (!HasGivenUp())
            return;
        const std::scoped_lock lock(m_mutex);
        if (++m_answers < AnswersToForget)
            return;
        m_hasGivenUp = false;
        m_pause.Succeed();
    }
    // The expression gave up. Returns the pause when that switches it off, else 0.
    std::chrono::seconds NoteGivenUp(Time now)
    {
        const std::scoped_lock lock(m_mutex);
        m_hasGivenUp = true;
        m_answers = 0;
        return m_pause.Fail(now);
    }

private:
    std::atomic<bool> m_hasGivenUp{false};
    mutable std::mutex m_mutex;
    GrowingPause m_pause{MostGiveUps, FirstPause, LongestPause}; // guarded by m_mutex
    int m_answers = 0; // since the last time that it gave up; guarded by m_mutex
};

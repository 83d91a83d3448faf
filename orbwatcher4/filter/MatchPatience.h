// Decides for how long an expression that gives up repeatedly is not asked. A hostile pattern, or hostile names, must
// not cost a fraction of a second for each file. Portable. Any thread.
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

    // Returns true when the expression has given up recently. Needs no lock.
    bool HasGivenUp() const { return m_hasGivenUp; }
    // Returns true when the expression is switched off at this time.
    bool IsOff(Time now) const
    {
        const std::scoped_lock lock(m_mutex);
        return m_pause.IsRunning(now);
    }
    // Notes that the expression has given an answer.
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
    // Notes that the expression has given up. Returns the pause if that switches it off, otherwise 0.
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

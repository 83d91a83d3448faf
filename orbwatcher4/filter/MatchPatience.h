// How long an expression that gives up again and again is not asked: a hostile pattern, or hostile names, must not cost
// a fraction of a second for each file. Portable. Any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>

class MatchPatience
{
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr int MostGiveUps = 3;
    static constexpr int AnswersToForget = 1000; // in a row; one answer between two hostile names is no improvement
    static constexpr std::chrono::seconds FirstPause{1}, LongestPause{300};

    // Returns whether the expression has given up and that is not forgotten. Costs no lock.
    bool HasGivenUp() const { return m_hasGivenUp; }
    // Returns whether the expression is switched off at the time.
    bool IsOff(Time now) const
    {
        const std::scoped_lock lock(m_mutex);
        return now < m_offUntil;
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
        m_giveUps = 0;
        m_pause = FirstPause;
    }
    // The expression gave up. Returns the pause when that switches it off, else 0. After a pause one more time is
    // enough for the next one, which is twice as long.
    std::chrono::seconds NoteGivenUp(Time now)
    {
        const std::scoped_lock lock(m_mutex);
        m_hasGivenUp = true;
        m_answers = 0;
        if (now < m_offUntil || ++m_giveUps < MostGiveUps)
            return std::chrono::seconds(0);
        const std::chrono::seconds pause = m_pause;
        m_offUntil = now + pause;
        m_pause = pause * 2 < LongestPause ? pause * 2 : LongestPause;
        return pause;
    }

private:
    std::atomic<bool> m_hasGivenUp{false};
    mutable std::mutex m_mutex;
    int m_giveUps = 0;                        // guarded by m_mutex
    int m_answers = 0;                        // since the last time that it gave up; guarded by m_mutex
    std::chrono::seconds m_pause{FirstPause}; // the next one; guarded by m_mutex
    Time m_offUntil{};                        // guarded by m_mutex
};

// The times at which an overlay service that has not answered, or does not run, may be asked again. Any thread.
#pragma once

#include "support/GrowingPause.h"
#include "support/RankedSection.h"

#include <algorithm>

class OverlayPauses
{
public:
    using Time = GrowingPause::Time;

    // A service that exists and does not answer must not slow down the statuses. Two time-outs in a row may be an
    // accident.
    static constexpr int MostTimeouts = 3;
    static constexpr std::chrono::seconds FirstPause{1}, LongestPause{60};
    // A service that does not run costs one attempt to connect in this time.
    static constexpr std::chrono::seconds AbsentPause{1};

    // Returns the end of the present pause. It lies in the past when there is none.
    Time Until() const
    {
        const CSingleLock lock(m_lock);
        return std::max(m_hung.Until(), m_absentUntil);
    }
    // Returns true from an attempt that found no service to the end of its pause.
    bool IsAbsent(Time now) const
    {
        const CSingleLock lock(m_lock);
        return now < m_absentUntil;
    }
    // Returns the pause that begins, or 0.
    std::chrono::seconds NoteTimeout(Time now)
    {
        const CSingleLock lock(m_lock);
        return m_hung.Fail(now);
    }
    void NoteAbsent(Time now)
    {
        const CSingleLock lock(m_lock);
        m_absentUntil = now + AbsentPause;
    }
    void NoteAnswer()
    {
        const CSingleLock lock(m_lock);
        m_hung.Succeed();
    }

private:
    mutable RankedSection m_lock{LockRank::Leaf, L"overlay pauses"};
    GrowingPause m_hung ORB_GUARDED_BY(m_lock){MostTimeouts, FirstPause, LongestPause};
    Time m_absentUntil ORB_GUARDED_BY(m_lock){};
};

#include "directory_changes/WatchState.h"

#include <utility>

RunningState WatchState::Now() const
{
    const CSingleLock lock(m_section);
    return m_state;
}

bool WatchState::IsEnding() const
{
    const RunningState state = Now();
    return state == StateStopMonitoring || state == StateStopped || state == StateEnded;
}

WatchStep WatchState::TakeInside(WatchInput input)
{
    const WatchStep step = NextStep(m_state, input, m_read.IsPending());
    m_state = step.next;
    // Closed inside the section: no other thread can end the watch before its directory is closed.
    if (step.task == WatchTask::CloseDirectory)
        m_read.Close();
    return step;
}

WatchStep WatchState::Take(WatchInput input, bool workerHasEnded)
{
    const CSingleLock lock(m_section);
    const bool inPlaceOfWorker = input == WatchInput::PostRefused || input == WatchInput::GivenUp;
    if (!inPlaceOfWorker || !m_leased || workerHasEnded)
        return TakeInside(input);
    m_packetRefused = m_packetRefused || input == WatchInput::PostRefused;
    return {m_state, WatchTask::Nothing};
}

WatchStep WatchState::BeginLease(WatchInput input)
{
    const CSingleLock lock(m_section);
    if (input == WatchInput::ReadBack)
        m_read.ComeBack();
    m_leased = true;
    return TakeInside(input);
}

bool WatchState::EndLease(WatchStep& step)
{
    const CSingleLock lock(m_section);
    m_leased = std::exchange(m_packetRefused, false);
    if (m_leased)
        step = TakeInside(WatchInput::PostRefused);
    return m_leased;
}

/// @file
/// A signal that every long loop asks: asking is no call of the system. Any thread.
#pragma once

#include "mfc/CCriticalSection.h"
#include "mfc/CEvent.h"

#include <atomic>

/// Manual-reset, and not set at first.
class CSignal : public CEvent
{
public:
    CSignal() : CEvent(false, true) {}

    /// Lets everybody go on who waits, and says so to those who ask.
    bool SetEvent() noexcept
    {
        const CSingleLock lock(m_section);
        m_set = true;
        return CEvent::SetEvent();
    }
    /// Those who wait from now on wait.
    bool ResetEvent() noexcept
    {
        const CSingleLock lock(m_section);
        m_set = false;
        return CEvent::ResetEvent();
    }
    /// Whether it is set now. Cheap: no call of the system.
    bool IsSet() const noexcept { return m_set; }

private:
    CCriticalSection m_section; // the flag says what the event says
    std::atomic<bool> m_set{false};
};

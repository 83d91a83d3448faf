// A signal that every long loop asks: asking is no call of the system. Any thread.
#pragma once

#include "mfc/CCriticalSection.h"
#include "mfc/CEvent.h"

#include <atomic>

class CSignal : public CEvent
{
public:
    CSignal() : CEvent(false, true) {}

    bool SetEvent() noexcept
    {
        const CSingleLock lock(m_section);
        m_set = true;
        return CEvent::SetEvent();
    }
    bool ResetEvent() noexcept
    {
        const CSingleLock lock(m_section);
        m_set = false;
        return CEvent::ResetEvent();
    }
    bool IsSet() const noexcept { return m_set; }

private:
    CCriticalSection m_section; // the flag says what the event says
    std::atomic<bool> m_set{false};
};

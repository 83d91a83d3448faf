/// @file
/// A signal that every long loop asks: asking is no call of the system. Any thread.
#pragma once

#include "mfc/CCriticalSection.h"
#include "mfc/CEvent.h"

#include <atomic>

/// A manual-reset event, initially not set.
class CSignal : public CEvent
{
public:
    CSignal() : CEvent(false, true) {}

    /// Sets the event, which releases all waiting threads, and the flag.
    bool SetEvent() noexcept
    {
        const CSingleLock lock(m_section);
        m_set = true;
        return CEvent::SetEvent();
    }
    /// Resets both.
    bool ResetEvent() noexcept
    {
        const CSingleLock lock(m_section);
        m_set = false;
        return CEvent::ResetEvent();
    }
    /// Returns true while it is set. Cheap: no system call.
    bool IsSet() const noexcept { return m_set; }

private:
    CCriticalSection m_section; // keeps flag and event equal
    std::atomic<bool> m_set{false};
};

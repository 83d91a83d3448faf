/// @file
/// An event that closes itself.
#pragma once

#include <windows.h>

#include <system_error>

/// An event of the system, without a name. Any thread.
class CEvent
{
public:
    /// Throws std::system_error when the system refuses: who waits for an event that is none would wait for ever.
    explicit CEvent(bool initiallySet = false, bool manualReset = false)
        : m_handle(CreateEventW(nullptr, manualReset, initiallySet, nullptr))
    {
        if (!m_handle)
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "event");
    }
    /// Nobody may be waiting for it.
    virtual ~CEvent() { CloseHandle(m_handle); }
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    /// For the calls of the system; it stays with the object.
    operator HANDLE() const noexcept { return m_handle; }
    /// Lets those go on who wait: all of them, or one for an auto-reset event.
    bool SetEvent() noexcept { return ::SetEvent(m_handle) != FALSE; }
    /// Those who wait from now on wait.
    bool ResetEvent() noexcept { return ::ResetEvent(m_handle) != FALSE; }
    /// True when the event was set within the time; an auto-reset event is then taken.
    virtual bool Lock(DWORD milliseconds = INFINITE)
    {
        return WaitForSingleObject(m_handle, milliseconds) == WAIT_OBJECT_0;
    }
    /// An event is not left: always true.
    virtual bool Unlock() { return true; }

private:
    HANDLE m_handle;
};

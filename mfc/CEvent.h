/// @file
/// An event that closes itself.
#pragma once

#include <windows.h>

#include <system_error>

/// An event of the system, without a name. Any thread.
class CEvent
{
public:
    /// Throws std::system_error when the system refuses: a wait for an event that does not exist would never end.
    explicit CEvent(bool initiallySet = false, bool manualReset = false)
        : m_handle(CreateEventW(nullptr, manualReset, initiallySet, nullptr))
    {
        if (!m_handle)
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "event");
    }
    /// No thread may be waiting for it.
    virtual ~CEvent() { CloseHandle(m_handle); }
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    /// Returns the handle for the calls of the system; ownership is retained.
    operator HANDLE() const noexcept { return m_handle; }
    /// Releases the waiting threads: all of them, or one for an auto-reset event.
    bool SetEvent() noexcept { return ::SetEvent(m_handle) != FALSE; }
    /// Makes later waits wait.
    bool ResetEvent() noexcept { return ::ResetEvent(m_handle) != FALSE; }
    /// Waits until the event is set. Returns false after the time. A successful wait resets an auto-reset event.
    virtual bool Lock(DWORD milliseconds = INFINITE)
    {
        return WaitForSingleObject(m_handle, milliseconds) == WAIT_OBJECT_0;
    }
    /// Does nothing, because a wait holds no event; always returns true.
    virtual bool Unlock() { return true; }

private:
    HANDLE m_handle;
};

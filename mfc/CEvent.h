// An event that closes itself.
#pragma once

#include <windows.h>

#include <system_error>

class CEvent
{
public:
    // Throws std::system_error when the system refuses: who waits for an event that is none would wait for ever.
    explicit CEvent(bool initiallySet = false, bool manualReset = false)
        : m_handle(CreateEventW(nullptr, manualReset, initiallySet, nullptr))
    {
        if (!m_handle)
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "event");
    }
    virtual ~CEvent() { CloseHandle(m_handle); }
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    operator HANDLE() const noexcept { return m_handle; }
    bool SetEvent() noexcept { return ::SetEvent(m_handle) != FALSE; }
    bool ResetEvent() noexcept { return ::ResetEvent(m_handle) != FALSE; }
    // True when the event was set within the time; an auto-reset event is then taken.
    virtual bool Lock(DWORD milliseconds = INFINITE)
    {
        return WaitForSingleObject(m_handle, milliseconds) == WAIT_OBJECT_0;
    }
    virtual bool Unlock() { return true; }

private:
    HANDLE m_handle;
};

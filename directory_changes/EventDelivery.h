// The caller's handler behind a delayed handler, and its calls.
//
// The notifier's thread delivers. Any thread takes the handler out; an event that is in progress then goes on.
#pragma once

#include "directory_changes/EventFilter.h"

#include <atomic>

class EventDelivery
{
public:
    EventDelivery(CDirectoryChangeHandler* handler, DWORD filterFlags) : m_filter(filterFlags), m_handler(handler) {}

    EventFilter& Filter() { return m_filter; }
    // Null once it was taken out.
    CDirectoryChangeHandler* Handler() const { return m_handler; }
    // Returns the handler to one caller, and null to all others.
    CDirectoryChangeHandler* TakeHandler() { return m_handler.exchange(nullptr); }
    void SetHandler(CDirectoryChangeHandler* handler) { m_handler = handler; }
    // Sets the directory that is reported as lost when the handler throws. Call it before the watch starts. Throws
    // std::bad_alloc.
    void SetDirectory(const CString& directory) { m_directory = directory; }

    // Calls the handler, when there is one and the filter lets the event pass.
    void Deliver(const DelayedEvent& event) noexcept;

private:
    void DeliverStopped(const DelayedEvent& event);
    void Call(CDirectoryChangeHandler& handler, const DelayedEvent& event);
    void ReportFailure() noexcept;

    EventFilter m_filter;
    CString m_directory;
    std::atomic<CDirectoryChangeHandler*> m_handler;
};

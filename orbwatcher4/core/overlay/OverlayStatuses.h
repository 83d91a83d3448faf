// Tells the overlay service of the statuses of paths, when the configuration wants it. No caller waits for the service
// (OverlaySender). Any thread.
#pragma once

#include "orbwatcher4/core/overlay/OverlaySender.h"

class OverlayStatuses
{
public:
    // A set `stop` ends the waits for the service. Both must outlive the object.
    OverlayStatuses(const Config& config, CSignal& stop)
        : m_config(config),
          m_waiter(static_cast<HANDLE>(stop)),
          m_sender(config, m_connection, stop)
    {
    }

    // status: of OverlayStatus.
    void Set(const CString& path, std::int32_t status)
    {
        if (AreWanted())
            m_sender.Set(path, status);
    }
    // Adds to the path's present status that it was modified.
    void MarkModified(const CString& path)
    {
        if (AreWanted())
            m_sender.AddModification(path);
    }
    bool AreWanted() const { return m_config.overlay; }
    // Returns the connection for a filter; null when no statuses are wanted.
    OverlayCache* ForFilter() { return AreWanted() ? &m_connection : nullptr; }
    // Returns a connection of its own, for a long walk. A pause of this one does not lose its marks.
    OverlayCache AnotherConnection() const { return OverlayCache(m_connection.Waiter()); }
    // The thread that tells the service. End it after all threads that have statuses, with `stop` set.
    OverlaySender& Sender() { return m_sender; }
    const OverlaySender& Sender() const { return m_sender; }
    // Tests wait with a waiter of their own.
    void WaitWith(OverlayWaiter& waiter) { m_connection.WaitWith(waiter); }

private:
    const Config& m_config;
    StoppableWaiter m_waiter;
    OverlayCache m_connection{m_waiter};
    OverlaySender m_sender;
};

// Tells the overlay service of the statuses of paths, when the configuration wants it. Any thread.
#pragma once

#include "OrbFileMonitorService/OverlayCache.h"
#include "orbwatcher4/core/environment/Config.h"

class OverlayStatuses
{
public:
    explicit OverlayStatuses(const Config& config) : m_config(config) {}

    // status: of OverlayStatus.
    void Set(const CString& path, std::int32_t status);
    // Adds to the path's present status that it was modified.
    void MarkModified(const CString& path);
    bool AreWanted() const { return m_config.overlay; }
    // Returns the connection for a filter; null when no statuses are wanted.
    OverlayCache* ForFilter() { return AreWanted() ? &m_connection : nullptr; }
    // Returns a connection of its own, for a long walk.
    OverlayCache AnotherConnection() const { return OverlayCache(m_connection.Waiter()); }
    // Tests wait with a waiter of their own.
    void WaitWith(OverlayWaiter& waiter) { m_connection.WaitWith(waiter); }

private:
    const Config& m_config;
    OverlayCache m_connection;
};

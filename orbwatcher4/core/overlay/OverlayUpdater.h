// Walks the paths of the automatic exclusions when watching starts, on a thread of its own, and marks in the overlay
// service what the user's rules exclude there. Paths that the product alone excludes get no mark.
#pragma once

#include "orbwatcher4/core/environment/Signal.h"
#include "orbwatcher4/core/overlay/OverlayStatuses.h"
#include "orbwatcher4/core/selection/Selection.h"
#include "support/Handle.h"

class OverlayUpdater
{
public:
    // All must outlive the object.
    OverlayUpdater(const Config& config, Selection& selection, const OverlayStatuses& statuses, CSignal& stop);
    ~OverlayUpdater() { Join(); }
    OverlayUpdater(const OverlayUpdater&) = delete;
    OverlayUpdater& operator=(const OverlayUpdater&) = delete;

    // One thread at a time calls these. Start does nothing when no statuses are wanted.
    void Start();
    // Waits for the thread's end; it ends early when `stop` is set.
    void Join();
    bool IsStarted() const { return static_cast<bool>(m_thread); }
    bool IsRunning() const { return m_thread && !IsSignalled(m_thread.Get()); }
    // Does the work of the thread on this one.
    void Run();

private:
    friend class WatcherAccess; // tests

    void MarkAll();
    void Mark(const Filter& rule);

    const Config& m_config;
    Selection& m_selection;
    const OverlayStatuses& m_statuses;
    CSignal& m_stop;
    KernelHandle m_thread;
};

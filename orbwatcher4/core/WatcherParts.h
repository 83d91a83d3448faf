// The parts of a watcher, and how they are wired. Each part owns its facts, its lock and its threads, and knows only
// the parts above it in this list.
#pragma once

#include "orbwatcher4/core/drives/Supervisor.h"
#include "orbwatcher4/core/due/DueEnumerations.h"
#include "orbwatcher4/core/intake/Intake.h"
#include "orbwatcher4/core/overlay/OverlayUpdater.h"
#include "orbwatcher4/core/pending/HandOut.h"

struct Lifecycle {
    RankedSection lock{LockRank::Lifecycle, L"lifecycle"}; // one start or end at a time
    std::atomic<int> initialized{0};
};

struct WatcherParts {
    explicit WatcherParts(bool useDrDeleteMap);
    ~WatcherParts() { Stop(); }
    WatcherParts(const WatcherParts&) = delete;
    WatcherParts& operator=(const WatcherParts&) = delete;

    Config config;
    CSignal stop; // all long loops check it
    DueEnumerations due;
    Selection selection{config};
    OverlayStatuses overlay{config, stop};
    OverlayUpdater overlayUpdater{config, selection, overlay, stop};
    PendingStore pending;
    Dump dump{config, due, pending};
    Intake intake{{config, stop, due, selection, overlay, pending}, dump};
    Deletions deletions;
    HandOut handOut;
    Drives drives{selection};
    Enumerator enumerator;
    Supervisor supervisor;
    Lifecycle lifecycle;

    // Loads both filters from their files, and has their roots watched. Returns false when a file could not be loaded.
    bool LoadSelection();

    // --- The life of a run, one call at a time (docs/architecture.md, "Threads"). ---

    void Start();
    // Ends every thread.
    void Stop();
    // Stops, keeps what is pending, and empties the parts.
    void End();

private:
    bool IsAnyThreadRunning() const;
    void StopThreads();
};

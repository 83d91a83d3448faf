// Marks what is excluded in the overlay service, on a connection of its own: a
// long walk must not keep the change handler from its turn. One thread.
#pragma once

#include "OrbFileMonitorService/OverlayCache.h"
#include "orbwatcher4/OrbFilter.h"

struct WatcherState;

class OverlayRemover final : public SmartScanCaller
{
public:
    explicit OverlayRemover(WatcherState& watcher);

    // Everything below the rule's folder that one of its endings names, or everything when it has none. Shortcuts are
    // not looked for.
    void ScanFolder(const Filter& rule);

    // Marks the path, as it is given, when the selection excludes it. The filter is asked with its lock held, the
    // service without.
    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override;
    bool ProgressCallback() override;
    void FolderFoundCallback(const wchar_t* path) override;

private:
    WatcherState& m;
    OverlayCache m_overlay;
    OrbFilter m_scratch; // walks with caches of its own
};

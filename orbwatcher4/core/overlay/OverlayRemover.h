// Marks excluded files in the overlay service, on a connection of its own: a long walk must not delay the change
// handler. One thread.
#pragma once

#include "orbwatcher4/core/environment/Signal.h"
#include "orbwatcher4/core/overlay/OverlayStatuses.h"
#include "orbwatcher4/core/selection/Selection.h"

class OverlayRemover final : public SmartScanCaller
{
public:
    // A walk ends when `stop` is set.
    OverlayRemover(Selection& selection, const OverlayStatuses& statuses, CSignal& stop);

    // Marks everything below the rule's folder that has one of its endings; everything when the rule has none.
    // Shortcuts are not searched for.
    void ScanFolder(const Filter& rule);

    // Marks the path, as it is given, when the selection excludes it. Locks the filter while it is asked, and not while
    // the service is.
    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override;
    bool ProgressCallback() override;
    void FolderFoundCallback(const wchar_t* path) override;

private:
    Selection& m_selection;
    CSignal& m_stop;
    OverlayCache m_connection;
    OrbFilter m_scratch; // walks with caches of their own
};

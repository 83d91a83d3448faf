// Walks the selected part of one drive, each file once. One thread uses an object.
#pragma once

#include "orbwatcher4/filter/DirectoryWalk.h"

#include <vector>

class SelectionWalk
{
public:
    // The arguments must outlive the walk; `caller` may be null. The bounds of `options` are set here.
    SelectionWalk(WalkMemory& memory, ScanDisk& disk, const ScanLists& lists, SmartScanCaller* caller,
                  WalkOptions options);

    // Returns false when the walk was aborted.
    bool Run();

private:
    // A folder that a rule includes.
    struct Start {
        CString folder;
        CString destination; // of a link; the folder itself otherwise
        bool includeSub = false;
        bool IsLink() const { return folder != destination; }
    };
    void AddStart(const ScanLists::Root& root);
    void PassOverStart(const CString& folder, DWORD error);
    bool TakeFiles();
    bool TakeStart(Start& start);
    bool IsWalkedAlready(const Start& start) const;

    WalkMemory& m_memory;
    ScanDisk& m_disk;
    const ScanLists& m_lists;
    const ScanBounds m_bounds;
    DirectoryWalk m_walk;
    std::vector<Start> m_starts; // in the order of walking
    FoldedSet m_linkTargets;     // of the roots that are links
};

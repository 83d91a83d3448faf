// The selection of a watcher: both filters, each with its lock, and the drives that their rules name.
//
// Any thread. Every change of a path asks here: a question holds a lock for a short time, and asks the disk without it.
// The files of rules are read and written without the locks of the filters, so that changes are judged meanwhile. A
// lock of their own lets one load or merge go on at a time. These operations hold a filter's lock while the disk is
// asked:
//  - new rules are read from their own, small file (NewRules.h);
//  - SetDestination, SetDatabases and SetOwnFiles ask for the long names of the paths that they keep out.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/core/environment/Config.h"
#include "orbwatcher4/core/selection/RecordedVolumes.h"
#include "orbwatcher4/core/selection/RequestedRoots.h"
#include "orbwatcher4/core/selection/WaitingFindings.h"
#include "support/RankedSection.h"

class OverlayCache;

struct Selection {
    explicit Selection(const Config& configuration) : config(configuration) {}
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;
    ~Selection();

    // Loads both filters from their files. `overlay` receives the statuses of excluded files; it may be null. Returns
    // true when both were read whole. Otherwise a filter keeps the rules that it held, or, if it held none, takes those
    // that could be read.
    bool Load(OverlayCache* overlay, const wchar_t* advancedOfSecondary = nullptr);
    // Returns a text that stands for the content of the files of the primary filter, from before the present rules were
    // read from them. Empty when there are no rules, or when their main file could not be read.
    CString Content();
    // Requests the roots of all rules, when the watcher is watching.
    void RequestItsRoots();
    // Empties both filters.
    void Clear();
    // Sets the folder that backups go to, which may be set at any time. Nothing in it is selected.
    void SetDestination(const wchar_t* path);
    CString Destination();
    // Returns the folders that are kept out because backups go there, each with a backslash at its end.
    std::set<CString> KeptOutDestinations();

    // Logs that files in the data folder are left out although the rules include them; once for the same first file.
    void WarnOfDataFolder();

    // Returns the drives that the rules name.
    DriveList Drives();
    // Returns true for a path that the product keeps out of every selection.
    bool IsKeptOut(const CString& path);
    // Returns true when the path does not exist, although its drive is present with the recorded volume.
    bool IsGone(const CString& path) const;
    // Replaces the link at the beginning of a path by its target, when a rule remembers it.
    void FollowLinks(CString& path);
    // Sets what OrbFilter::GetTotalItems of the primary filter counts; null: nothing.
    void CountWith(const ItemCounters* counters);

    // Edits both filters, one after the other.
    template <typename Operation>
    void Edit(Operation edit)
    {
        {
            const CSingleLock lock(primaryLock);
            edit(primary);
        }
        const CSingleLock lock(secondaryLock);
        edit(secondary);
    }
    // The memory of walks has a lock of its own, and a walk works on a copy of the rules.
    OrbFilter& PrimaryWalks() ORB_UNCHECKED_LOCKS { return primary; }

    const Config& config;
    // Held by a thread that loads or merges the files of rules, fills the plugin table from them, or moves rules to
    // another drive.
    RankedSection filesLock{LockRank::SelectionFiles, L"selection files"};
    RankedSection primaryLock{LockRank::PrimaryFilter, L"primary filter", ShortWaitSpins};
    RankedSection secondaryLock{LockRank::SecondaryFilter, L"secondary filter", ShortWaitSpins};
    OrbFilter primary ORB_GUARDED_BY(primaryLock);
    OrbFilter secondary ORB_GUARDED_BY(secondaryLock);
    CString destination ORB_GUARDED_BY(primaryLock);
    CString content ORB_GUARDED_BY(primaryLock);
    CString warnedOf ORB_GUARDED_BY(primaryLock); // the first file that WarnOfDataFolder has logged
    RecordedVolumes volumes;
    RequestedRoots requestedRoots;
    WaitingFindings findings;
    // A complete selection was loaded; before that, no path is judged by rules. Stays true until the end of the
    // watcher, because a failed reload keeps the loaded rules.
    std::atomic<bool> loaded{false};
};

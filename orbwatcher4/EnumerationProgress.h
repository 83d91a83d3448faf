/// @file
/// How an enumeration goes: what it has met, and what became of it.
#pragma once

#include "mfc/CString.h"

#include <array>
#include <cstddef>

/// What becomes of a path that is there, or should be.
enum class PathOutcome : int {
    Queued,        ///< new, or changed since it was backed up
    Waiting,       ///< was pending already
    Unchanged,     ///< as it was backed up
    Missing,       ///< selected by its own path and not there, or gone again
    Unreadable,    ///< there, and the system refuses to show it
    Hidden,        ///< skipped, like everything from here on
    Excluded,      ///< by the user
    AutoExcluded,  ///< by the product
    Advanced,      ///< by an advanced rule
    NotApplicable, ///< a folder of which only the files are judged
    NotSelected,   ///< by no rule
    BackupFolder,  ///< lies where backups go
    OwnFile,       ///< of the watcher's own work
    TooLong,       ///< more than 260 units
    Delayed,       ///< its time has not come yet
    Uploaded,      ///< a moment ago
    SystemLink,    ///< an old name that the system keeps for programs
    BrokenLink,    ///< leads to nothing
    WalkedAlready, ///< under another name
    Count,         ///< no outcome: how many there are
};
/// From this one on an outcome means that the path was skipped.
constexpr PathOutcome FirstSkipped = PathOutcome::Hidden;
/// How many outcomes there are.
constexpr std::size_t PathOutcomes = static_cast<std::size_t>(PathOutcome::Count);

/// A moment of the enumerations of a watcher: a copy.
struct EnumerationProgress {
    int running = 0; ///< runs that are going on, over all drives and over single ones
    /// Met since the run over all drives began. Each file and folder has one outcome; a folder that was queued and
    /// cannot be read is unreadable, too.
    unsigned __int64 files = 0;
    unsigned __int64 folders = 0;                          ///< as files
    std::array<unsigned __int64, PathOutcomes> outcomes{}; ///< how often each came; see Of
    CString folder;                                        ///< that a walk is in

    /// How many paths had this outcome.
    unsigned __int64 Of(PathOutcome outcome) const { return outcomes[static_cast<std::size_t>(outcome)]; }
};

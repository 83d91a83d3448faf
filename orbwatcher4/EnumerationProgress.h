/// @file
/// The progress of an enumeration: how many paths it met, by outcome.
#pragma once

#include "mfc/CString.h"

#include <array>
#include <cstddef>
#include <vector>

/// The outcome of an enumeration for one path.
enum class PathOutcome : int {
    Queued,        ///< new, or changed since its backup: it became pending
    Waiting,       ///< it was pending already
    Unchanged,     ///< not changed since its backup
    Missing,       ///< selected by its own path, but it does not exist, or no longer
    Unreadable,    ///< it exists, but the system refuses to show it
    Hidden,        ///< hidden; this outcome and all below mean "skipped"
    Excluded,      ///< excluded by the user
    AutoExcluded,  ///< excluded by the product
    Advanced,      ///< excluded by an advanced rule
    NotApplicable, ///< a folder of which only the files are judged
    NotSelected,   ///< no rule selects it
    BackupFolder,  ///< it is in the backup folder or in the destination
    OwnFile,       ///< a file of the product itself
    TooLong,       ///< the path has more than 260 units
    Delayed,       ///< its time has not come yet
    Uploaded,      ///< it was uploaded a moment ago
    SystemLink,    ///< a link of the system: an old name, kept for programs
    BrokenLink,    ///< a link to nothing
    WalkedAlready, ///< it was walked under another name
    Count,         ///< not an outcome: the number of outcomes
};
/// The first outcome that means "skipped"; all later ones do, too.
constexpr PathOutcome FirstSkipped = PathOutcome::Hidden;
/// The number of outcomes.
constexpr std::size_t PathOutcomes = static_cast<std::size_t>(PathOutcome::Count);

/// A snapshot of the progress of a watcher's enumerations.
struct EnumerationProgress {
    int running = 0; ///< enumerations that are running, full ones and those of one root
    /// Counts since the last full enumeration began. Each file and folder has one outcome, with one exception: a folder
    /// that was queued and cannot be read counts as unreadable, too.
    unsigned __int64 files = 0;
    unsigned __int64 folders = 0;                          ///< counted like files
    std::array<unsigned __int64, PathOutcomes> outcomes{}; ///< count of each outcome; see Of
    CString folder;                                        ///< the folder that a walk is in

    /// Returns the number of paths with this outcome.
    unsigned __int64 Of(PathOutcome outcome) const { return outcomes[static_cast<std::size_t>(outcome)]; }
};

/// A path that a walk did not go into: a folder that is hidden, excluded or cannot be read to its end, a link that is
/// not followed, or a selected path that does not exist.
struct PassedOverPath {
    CString path;    ///< full path
    PathOutcome why; ///< the reason: Hidden, Excluded, ... Missing or Unreadable
};

/// The paths that enumerations could not look at although the selection includes them.
struct SkippedPaths {
    /// Roots, folders and files of the selection that do not exist (Missing), what the system refuses to show
    /// (Unreadable), and what has too long a path (TooLong).
    std::vector<PassedOverPath> paths;
    unsigned __int64 more = 0; ///< how many there were beside those that are named
};

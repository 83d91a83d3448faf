// Takes in the files that enumerations find, counts them, and names those that could not be looked at. Any thread.
#pragma once

#include "orbwatcher4/core/rescan/EnumerationParts.h"
#include "orbwatcher4/core/rescan/EnumerationTally.h"
#include "orbwatcher4/core/rescan/SkippedPaths.h"
#include "orbwatcher4/core/rescan/UnmetPaths.h"

#include <optional>

class FoundFiles
{
public:
    // The parts must outlive the object.
    explicit FoundFiles(const EnumerationParts& parts) : m(parts) {}

    // Takes in a file or folder that a walk has found. A pending change needs no second one, unless it is a deletion:
    // the item exists. `known`: what a folder's list shows, when it has just been read.
    PathOutcome Take(const wchar_t* path, std::optional<FileFacts> known);
    // Takes in a file that a rule names, which may be missing.
    void TakeNamed(const wchar_t* path);
    // Returns false when the enumerations are to end; pauses otherwise.
    bool GoOn();

    void SetPause(DWORD milliseconds) { m_pause = milliseconds; }
    EnumerationTally& Tally() { return m_tally; }
    const EnumerationTally& Tally() const { return m_tally; }
    SkippedPathsList& Skipped() { return m_skipped; }
    UnmetPaths& Unmet() { return m_unmet; }
    const EnumerationParts& Parts() const { return m; }

private:
    friend class WatcherAccess; // tests

    const EnumerationParts m;
    EnumerationTally m_tally;
    SkippedPathsList m_skipped;
    UnmetPaths m_unmet{m, m_tally};
    std::atomic<DWORD> m_pause{3}; // milliseconds
};

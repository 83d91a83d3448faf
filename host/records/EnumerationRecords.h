// The record with the result of an enumeration.
#pragma once

#include "host/records/Record.h"
#include "orbwatcher4/EnumerationProgress.h"

struct EnumerationSummaryRecord {
    static constexpr RecordKind Kind{"summary",
                                     "at the end: what was found, new, unchanged, skipped and why, unreadable"};
    EnumerationProgress progress;
    std::uint64_t unreadable = 0; // files, folders and links
    std::uint64_t deleted = 0;    // delete records
    std::uint64_t handedOut = 0;
    std::int64_t pending = 0; // kept for the next start
    int exitCode = 0;
    RecordFields Fields() const;
    std::string Line() const;
};

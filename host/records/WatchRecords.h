// Records of orbwatch watch alone.
#pragma once

#include "host/records/Record.h"
#include "mfc/CString.h"

#include <vector>

struct RootsRecord {
    static constexpr RecordKind Kind{"roots", "the roots that are watched now: a drive came or went"};
    const std::vector<CString>& roots;
    RecordFields Fields() const
    {
        RecordFields names = RecordFields::array();
        for (const CString& root : roots)
            names.push_back(ToUtf8(root.View()));
        return {{"roots", names}};
    }
    std::string Line() const
    {
        std::string line = roots.empty() ? "watching nothing" : "watching";
        for (const CString& root : roots)
            line += " " + RecordText::Path(root.View());
        return line;
    }
};

struct WatchReadyRecord : RootsRecord {
    static constexpr RecordKind Kind{"ready", "it watches from now on; the roots"};
};

// The number of pending entries, while nothing is handed out.
struct CollectedRecord {
    static constexpr RecordKind Kind{"collected", "with --collect: how many files and deletions wait"};
    std::int64_t pending;
    RecordFields Fields() const { return {{"pending", pending}}; }
    std::string Line() const { return "waiting: " + std::to_string(pending); }
};

struct WatchSummaryRecord {
    static constexpr RecordKind Kind{"summary", "at the end: how many were handed out, how many still wait"};
    std::uint64_t handedOut;
    std::int64_t pending;
    int exitCode;
    RecordFields Fields() const { return {{"handedOut", handedOut}, {"pending", pending}, {"exit", exitCode}}; }
    std::string Line() const
    {
        return "handed out " + std::to_string(handedOut) + ", still pending " + std::to_string(pending);
    }
};

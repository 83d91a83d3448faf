// Records of orbwatch overlay.
#pragma once

#include "host/records/Record.h"

struct OverlayReadyRecord {
    static constexpr RecordKind Kind{"ready", "it answers from now on"};
    RecordFields Fields() const { return RecordFields::object(); }
    std::string Line() const { return "keeping overlay statuses"; }
};

struct OverlayRecord {
    static constexpr RecordKind Kind{"overlay", "a path has a new status"};
    std::wstring path;
    std::int32_t status;
    std::string meaning;
    RecordFields Fields() const { return {{"path", ToUtf8(path)}, {"status", status}, {"meaning", meaning}}; }
    std::string Line() const { return meaning + " " + RecordText::Path(path); }
};

struct OverlaySummaryRecord {
    static constexpr RecordKind Kind{"summary", "at the end: how many requests came, how many paths have a status"};
    std::uint64_t requests;
    std::uint64_t paths;
    int exitCode;
    RecordFields Fields() const { return {{"requests", requests}, {"paths", paths}, {"exit", exitCode}}; }
    std::string Line() const
    {
        return RecordText::Counted(requests, "request", "requests") + ", " +
               RecordText::Counted(paths, "path", "paths");
    }
};

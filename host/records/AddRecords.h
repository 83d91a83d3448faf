// Records of orbwatch add alone.
#pragma once

#include "host/records/FileRecords.h"

#include <optional>

struct QueuedRecord {
    static constexpr RecordKind Kind{"queued", "a file or folder that the new rules select"};
    const QueueDatum& datum;
    RecordFields Fields() const { return PendingRecord{datum}.Fields(); }
    std::string Line() const { return "queued " + PendingRecord{datum}.Line(); }
};

struct ExcludedRecord {
    static constexpr RecordKind Kind{"excluded", "an exclusion among the new rules"};
    const ExcludedInfo& excluded;
    const char* KindOfPath() const { return excluded.kind != 0 ? "folder" : "file"; }
    RecordFields Fields() const { return {{"path", ToUtf8(excluded.path.View())}, {"kind", KindOfPath()}}; }
    std::string Line() const
    {
        return std::string("excluded ") + KindOfPath() + " " + RecordText::Path(excluded.path.View());
    }
};

struct AddSummaryRecord {
    static constexpr RecordKind Kind{
        "summary", "at the end: how many were queued (null: a running watch took the rules), how many exclusions"};
    std::optional<std::uint64_t> queued; // nothing: a running watch has taken the rules, and hands out their files
    std::uint64_t exclusions;
    int exitCode;
    std::string whyNot = {}; // no rule was taken
    RecordFields Fields() const
    {
        const RecordFields count = queued ? RecordFields(*queued) : RecordFields(nullptr);
        return {{"queued", count}, {"excluded", exclusions}, {"exit", exitCode}};
    }
    std::string Line() const
    {
        if (!whyNot.empty())
            return "nothing was queued: " + whyNot;
        const std::string what = queued ? "queued " + std::to_string(*queued) : "taken by the running watch";
        return what + ", exclusions " + std::to_string(exclusions);
    }
};

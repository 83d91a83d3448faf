// The record of orbwatch explain.
#pragma once

#include "host/records/Record.h"
#include "orbwatcher4/OrbWatcher.h"

struct ExplainRecord {
    static constexpr RecordKind Kind{"explain",
                                     "a path: the decision, the rules that speak of it, and which of them decides"};
    const std::wstring& path; // as it was asked for
    const PathExplanation& explanation;
    RecordFields Fields() const;
    std::string Line() const;
};

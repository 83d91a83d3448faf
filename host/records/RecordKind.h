// A kind of record, as the help names and describes it.
#pragma once

struct RecordKind {
    const char* name;
    const char* meaning;
};

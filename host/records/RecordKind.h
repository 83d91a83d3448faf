// What the help says of a kind of record.
#pragma once

struct RecordKind {
    const char* name;
    const char* meaning;
};

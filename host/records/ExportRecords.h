// The record of orbwatch export.
#pragma once

#include "host/records/Record.h"

struct ExportedRecord {
    static constexpr RecordKind Kind{"exported", "the list, and how many files are in it"};
    std::wstring path;
    int count; // of the files that were added to the list
    bool made; // false: there was nothing to list
    RecordFields Fields() const { return {{"path", ToUtf8(path)}, {"count", count}}; }
    std::string Line() const
    {
        const auto files = static_cast<std::uint64_t>(count);
        return !made ? ""
                     : "listed " + RecordText::Counted(files, "pending file", "pending files") + " in " +
                           RecordText::Path(path);
    }
};

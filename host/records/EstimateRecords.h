// Records of orbwatch estimate. For people, only the first rows of a table are printed.
#pragma once

#include "host/PathSpelling.h"
#include "host/records/Record.h"

// The total after a step.
struct TotalRecord {
    static constexpr RecordKind Kind{"total", "files and bytes of the selection (step 0), and after each edit"};
    std::size_t step;
    std::wstring edit; // a word and, for some words, a path
    SizeTotal total;
    RecordFields Fields() const;
    std::string Line() const;
};

struct FolderRecord {
    static constexpr RecordKind Kind{"folder", "files and bytes of a folder, the largest first"};
    const Estimate::Folder& folder;
    std::size_t row;
    PathSpelling& spelling; // gives the folders their names on the disk
    RecordFields Fields() const;
    std::string Line() const;
};

struct ExtensionRecord {
    static constexpr RecordKind Kind{"extension", "files and bytes of an ending, the largest first"};
    const Estimate::Extension& extension;
    std::size_t row;
    RecordFields Fields() const;
    std::string Line() const;
};

struct LeftOutRecord {
    static constexpr RecordKind Kind{"leftOut", "files and bytes that a rule leaves out"};
    const Estimate::LeftOut& leftOut;
    RecordFields Fields() const;
    std::string Line() const;
};

struct EstimateSummaryRecord {
    static constexpr RecordKind Kind{"summary", "at the end: files, bytes, how much could not be read"};
    SizeTotal total;
    std::uint64_t unreadable;
    int exitCode;
    RecordFields Fields() const;
    std::string Line() const { return unreadable == 0 ? "" : "could not be read: " + std::to_string(unreadable); }
};

// What an estimate has to say beside its totals.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

#include <cstdint>
#include <vector>

// One file of the cache, as the selection judges it.
struct JudgedFile {
    CString path; // in lower case; of what is a folder on the disk by now, with a backslash
    std::uint64_t size = 0;
    InclusionType decision = NotIncluded;
    // That settled it: the exclusion that keeps the file out, or the first include that selects it. Null when no rule
    // speaks of the file, and in the backup folder.
    FilterPtr rule;
};

struct SizeTotal {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;

    void Add(std::uint64_t size) { Add({1, size}); }
    void Add(const SizeTotal& more)
    {
        files += more.files;
        bytes += more.bytes;
    }
    bool operator==(const SizeTotal&) const = default;
};

// Every list has its largest first, and what is as large by name.
struct Estimate {
    struct Folder {
        CString path; // in lower case, without a backslash at its end
        SizeTotal total;
    };
    struct Extension {
        CString extension; // as in extensions of the statistics file; empty: a name without a dot
        SizeTotal total;
    };
    struct LeftOut {
        InclusionType decision;
        FilterPtr rule; // as in JudgedFile
        SizeTotal total;
    };

    bool whole = false; // false: ended by AbortUpdate or Stop
    SizeTotal included;
    std::vector<Folder> folders; // that hold something included, with all that lies below them
    std::vector<Extension> extensions;
    std::vector<LeftOut> leftOut;
};

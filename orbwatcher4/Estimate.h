/// @file
/// What an estimate has to say beside its totals.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

#include <cstdint>
#include <vector>

/// One file of the cache, as the selection judges it.
struct JudgedFile {
    CString path;                         ///< in lower case; of what is a folder on the disk by now, with a backslash
    std::uint64_t size = 0;               ///< bytes
    InclusionType decision = NotIncluded; ///< of the selection
    /// That settled it: the exclusion that keeps the file out, or the first include that selects it. Null when no rule
    /// speaks of the file, and in the backup folder.
    FilterPtr rule;
};

/// How many files, and how large together.
struct SizeTotal {
    std::uint64_t files = 0; ///< how many
    std::uint64_t bytes = 0; ///< of all of them

    /// One file more, of so many bytes.
    void Add(std::uint64_t size) { Add({1, size}); }
    /// These as well.
    void Add(const SizeTotal& more)
    {
        files += more.files;
        bytes += more.bytes;
    }
    /// Both numbers.
    bool operator==(const SizeTotal&) const = default;
};

/// Every list has its largest first, and what is as large by name.
struct Estimate {
    /// A folder with what is included in it.
    struct Folder {
        CString path;    ///< in lower case, without a backslash at its end
        SizeTotal total; ///< with all that lies below
    };
    /// What is included of one extension.
    struct Extension {
        CString extension; ///< as in extensions of the statistics file; empty: a name without a dot
        SizeTotal total;   ///< of the included files that end so
    };
    /// What one rule leaves out.
    struct LeftOut {
        InclusionType decision; ///< NotIncluded or Excluded
        FilterPtr rule;         ///< as in JudgedFile
        SizeTotal total;        ///< of what the rule leaves out
    };

    bool whole = false;                ///< false: ended by AbortUpdate or Stop
    SizeTotal included;                ///< of the whole selection
    std::vector<Folder> folders;       ///< that hold something included, with all that lies below them
    std::vector<Extension> extensions; ///< of included files
    std::vector<LeftOut> leftOut;      ///< by decision and rule
};

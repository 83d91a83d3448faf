/// @file
/// The details of an estimate beside its totals.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// One file of the cache, with the selection's decision on it.
struct JudgedFile {
    CString path;                         ///< in lower case; ends in a backslash when it is a folder on the disk by now
    std::uint64_t size = 0;               ///< bytes
    InclusionType decision = NotIncluded; ///< the selection's decision
    /// The rule that decided: the exclusion that keeps the file out, or the first include that selects it. Null when no
    /// rule applies to the file.
    FilterPtr rule;
};

/// A number of files and their total size.
struct SizeTotal {
    std::uint64_t files = 0; ///< number of files
    std::uint64_t bytes = 0; ///< total size

    /// Adds one file of `size` bytes.
    void Add(std::uint64_t size) { Add({1, size}); }
    /// Adds both counts of `more`.
    void Add(const SizeTotal& more)
    {
        files += more.files;
        bytes += more.bytes;
    }
    /// Compares both counts.
    bool operator==(const SizeTotal&) const = default;
};

/// Kinds of files, by their extension.
enum class FileKind : std::uint8_t {
    Other,    ///< an extension of no other kind, or none
    Document, ///< texts, tables, slides
    Picture,  ///< photographs and drawings
    Video,    ///< moving pictures
    Sound,    ///< music and recordings
    Archive,  ///< archives and images of disks
    Data,     ///< databases and mail
    Program,  ///< programs and their sources
};
/// The number of kinds.
inline constexpr std::size_t FileKinds = 8;

/// The sums of an estimate. Each list begins with the largest entry; entries of equal size are in the order of their
/// names.
struct Estimate {
    /// A folder and the total of the included files in it.
    struct Folder {
        CString path;                      ///< in lower case, without a trailing backslash
        SizeTotal total;                   ///< includes everything below the folder
        FileKind mostly = FileKind::Other; ///< the kind that takes the most room in it, everything below included
    };
    /// The included files with one extension.
    struct Extension {
        CString extension;               ///< as in extensions of the statistics file; empty: names without a dot
        SizeTotal total;                 ///< total of the included files with this extension
        FileKind kind = FileKind::Other; ///< the kind of these files
    };
    /// The files that one rule leaves out.
    struct LeftOut {
        InclusionType decision; ///< NotIncluded or Excluded
        FilterPtr rule;         ///< as in JudgedFile
        SizeTotal total;        ///< total of the files that the rule leaves out
    };

    bool whole = false;                ///< false: AbortUpdate or Stop ended the count, or memory ran out
    SizeTotal included;                ///< total of the included files
    std::vector<Folder> folders;       ///< folders with included files; each total includes everything below
    std::vector<Extension> extensions; ///< extensions of the included files
    std::vector<LeftOut> leftOut;      ///< files that are left out, by decision and rule
};

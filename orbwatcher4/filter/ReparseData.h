// What a reparse point says of where it leads. Portable.
//
// The layout is REPARSE_DATA_BUFFER of the Windows Driver Kit: tag, data length and a
// reserved word, then, in both kinds, offset and length in bytes of the substitute
// name and of the print name, relative to the names; a symbolic link has 32 flag bits
// before the names.
#pragma once

#include "mfc/CString.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

struct ReparseTarget {
    CString name; // without the leading \??\ of the object manager
    bool relative = false;
};

enum class ReparseKind { Link, NoLink, Damaged };

// Link: `target` is where it leads. NoLink: a tag that leads nowhere. Damaged: truncated, or a name outside the data.
ReparseKind ParseReparseData(std::span<const std::byte> data, ReparseTarget& target);

// Where a relative link leads: `target` seen from the folder that `link` lies in. ".." ends at the root.
CString ResolveRelative(const CString& link, const CString& target);

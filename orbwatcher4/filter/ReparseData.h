// Parses the data of a reparse point. Portable.
//
// The layout is REPARSE_DATA_BUFFER of the Windows Driver Kit: tag, data length and a reserved word, then, in both
// kinds, offset and length in bytes of the substitute name and of the print name, relative to the names; a symbolic
// link has 32 flag bits before the names.
#pragma once

#include "mfc/CString.h"

#include <cstddef>
#include <cstdint>
#include <span>

struct ReparseTarget {
    CString name; // without the leading \??\ of the object manager
    bool relative = false;
};

enum class ReparseKind { Link, NoLink, Damaged };

// Returns Link with the target, NoLink for a tag without a target, or Damaged when the data is truncated or a name lies
// outside of it.
ReparseKind ParseReparseData(std::span<const std::byte> data, ReparseTarget& target);

// Returns the absolute target of a relative link. ".." ends at the root.
CString ResolveRelative(const CString& link, const CString& target);

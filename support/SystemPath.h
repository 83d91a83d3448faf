// The form of a path that the system takes as it is. In a plain path the system cuts dots and spaces at the end, and it
// refuses 260 units: it would look for "report." as "report" and not find it. Any thread.
#pragma once

#include "mfc/CString.h"

// Returns a full path (C:\... or \\server\share\...) with the prefix that turns the system's own rewriting off (\\?\ or
// \\?\UNC\). Returns the path as it is when it needs that rewriting ("/", "\\" inside, "." or ".." as a name), is
// relative, or has a prefix already.
CString SystemPath(const wchar_t* plain);

// Returns the plain form of a path that has one of the two prefixes; any other path as it is.
CString PlainPath(const wchar_t* prefixed);

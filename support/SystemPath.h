// The form of a path that the system takes as it stands. Of a plain path it cuts
// dots and spaces at the end and refuses 260 units, so that "report." would be
// looked for as "report" and not be found. Any thread.
#pragma once

#include "mfc/CString.h"

// A full path (C:\... or \\server\share\...) with the prefix that turns the system's own rewriting off (\\?\ or
// \\?\UNC\); a path that needs that rewriting ("/", "\\" inside, "." or ".." as a name) or is relative, and one that
// has a prefix already, as it is.
CString SystemPath(const wchar_t* plain);

// The plain form of a path that has one of the two prefixes; any other as it is.
CString PlainPath(const wchar_t* prefixed);

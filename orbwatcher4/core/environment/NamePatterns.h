// Patterns of file names in the configuration.
#pragma once

#include "mfc/CString.h"

// Returns true when the name of the file matches one of the ";"-separated patterns. A folder matches none, and an empty
// text has none.
bool MatchesNamePatterns(const wchar_t* path, const CString& patterns);

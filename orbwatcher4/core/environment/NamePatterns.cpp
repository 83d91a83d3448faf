#include "orbwatcher4/core/environment/NamePatterns.h"

#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/Wildcard.h"

#include <shlwapi.h>

bool MatchesNamePatterns(const wchar_t* path, const CString& patterns)
{
    return !patterns.IsEmpty() && !IsDirectory(path) && MatchAnyWildcard(patterns.View(), PathFindFileNameW(path));
}

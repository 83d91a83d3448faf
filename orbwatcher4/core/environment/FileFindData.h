// A file's directory entry, and what it means that there is none.
#pragma once

#include "mfc/CString.h"

#include <windows.h>

// Looks the path up without its one trailing backslash. Wildcards are not escaped. A failure is logged and
// leaves the record zeroed.
bool GetFileFindData(const wchar_t* path, WIN32_FIND_DATAW* data);

// Returns the attributes of the item itself: for a path that ends in a backslash, the system may return those of a
// link's target. INVALID_FILE_ATTRIBUTES when they cannot be read.
DWORD OwnAttributes(const CString& path);

// True for a folder that is there.
bool IsDirectory(const wchar_t* path);

// The root that a path lies on, with a trailing backslash.
CString RootOf(const wchar_t* path);
// True when the drive or share that the path lies on can be looked at.
bool IsReachable(const wchar_t* path);
// The answer of the root of a path. A root that is away has none of its paths. A root that cannot be looked at may have
// them all the same: an account without rights for the root of a share may have rights for folders in it.
enum class RootState { There, Away, Unknown };
RootState StateOfRoot(const wchar_t* path);
// True for an error with which the system says that nothing has a path. A drive that is away has such an error, too.
bool MeansNothingThere(DWORD error);
// True when nothing is there although the drive or share is: not when it merely cannot be reached now.
bool IsReallyGone(const wchar_t* path);

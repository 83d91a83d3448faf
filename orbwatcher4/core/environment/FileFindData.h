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
// True when nothing is there although the drive or share is: not when it merely cannot be reached now.
bool IsReallyGone(const wchar_t* path);

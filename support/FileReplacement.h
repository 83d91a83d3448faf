// Replacing a file such that a failure in the middle leaves the old one whole.
#pragma once

#include "mfc/CString.h"

#include <functional>

// `write` makes the new content under the name that it is given, beside the file; then it takes the file's place, or
// is removed. False when that failed; GetLastError says why. A file that is marked read-only stays as it is. Threads
// and processes do not get into each other's way; who comes last wins.
bool ReplaceWhole(const CString& path, const std::function<bool(const CString& draft)>& write);

// Keeps a file that is no use as it is under its name with the ending ".bad". False when it could not be moved; it is
// then still in its place, and nothing may be written there. No file, or a folder: nothing to move.
bool SetAside(const CString& path);

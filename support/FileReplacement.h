// Replaces a file such that a failure in the middle leaves the old file whole.
//
// The new content keeps the old file's access list, owner and attributes. If the path is a link to a file, the link's
// target is replaced, and the link stays. After a passing error (a scanner holds the file for a moment) the replacement
// is tried again for a fifth of a second. Any thread.
#pragma once

#include "mfc/CString.h"

#include <windows.h>

#include <functional>
#include <string_view>

// Calls `write` to make the new content beside the file, under the name that `write` receives; the content then takes
// the file's place. The draft exists already and is empty; `write` must open that one. Returns false when anything
// failed; GetLastError says why. The draft is then removed, unless the system has removed the old file. A file that is
// marked read-only stays as it is. Threads and processes do not disturb each other; the last one wins.
bool ReplaceWhole(const CString& path, const std::function<bool(const CString& draft)>& write);

// Replaces the file by these bytes: they are written in full and flushed before they take the file's place.
bool ReplaceWhole(const CString& path, std::string_view bytes);

// Replaces a file of the product's own in its data folder in the same way. A link is replaced and never followed, and a
// new file gets the access list `access`.
bool ReplaceOwn(const CString& path, std::string_view bytes, SECURITY_ATTRIBUTES* access);

// Keeps a damaged file of the product's own: renames it to its name with the ending ".bad", or, when that name is
// taken,
// ".bad2" to ".bad99"; only the last one is replaced. Returns the new path; empty, with a last error, when the file is
// still in its place.
CString MoveAside(const CString& path);

// Keeps a file that cannot be used: renames it to its name with the ending ".bad". Returns false when it could not be
// moved; it is then still in its place, and nothing may be written there. If there is no file, or a folder, there is
// nothing to move.
bool SetAside(const CString& path);
// Undoes SetAside, unless there is another file by now.
void TakeBack(const CString& path);

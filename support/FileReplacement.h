// Replacing a file such that a failure in the middle leaves the old one whole.
//
// The new content keeps the old file's access list, owner and attributes. Where
// the path is a link to a file, the link's target is replaced, and the link
// stays. A passing error (a scanner holds the file for a moment) is tried again
// for a fifth of a second. Any thread.
#pragma once

#include "mfc/CString.h"

#include <windows.h>

#include <functional>
#include <string_view>

// `write` makes the new content under the name that it is given, beside the file; the content then takes the file's
// place, or is removed. The draft is there already, empty; the writer must open that one. Returns false when that
// failed; GetLastError says why. A file that is marked read-only stays as it is. Threads and processes do not get into
// each other's way; the last one wins.
bool ReplaceWhole(const CString& path, const std::function<bool(const CString& draft)>& write);

// The same for content that is at hand: it is written in full and flushed before it takes the file's place.
bool ReplaceWhole(const CString& path, std::string_view bytes);

// The same for a file of the product's own in its data folder: a link is replaced and never followed, and a file that
// is new has the access list that is given.
bool ReplaceOwn(const CString& path, std::string_view bytes, SECURITY_ATTRIBUTES* access);

// Keeps a file that is no use as it is under its name with the ending ".bad". False when it could not be moved; it is
// then still in its place, and nothing may be written there. No file, or a folder: nothing to move.
bool SetAside(const CString& path);
// Undoes that, unless there is another file by now.
void TakeBack(const CString& path);

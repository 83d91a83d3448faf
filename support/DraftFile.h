// The temporary file that is written in full and then renamed to its target, so
// that nobody ever sees half a target.
//
// A process that is killed leaves its draft behind: whoever writes the next one
// takes away those that are too old to be in use. Any thread.
#pragma once

#include "mfc/CString.h"

// A name beside the target that no other thread or process uses. A file of that name is a leftover.
CString DraftPath(const CString& target);

// Removes drafts, older than a day, from the target's folder: of the target itself, and of others with the same
// ending, as targets may be numbered. One that somebody has open stays.
void RemoveOldDrafts(const CString& target);

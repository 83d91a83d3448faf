// The temporary file that is written in full and then renamed to its target, so
// that nobody ever sees half a target.
//
// A process that is killed leaves its draft behind: whoever writes the next one
// takes away those that are too old to be in use. Any thread.
#pragma once

#include "mfc/CString.h"

// A name in the target's folder that no other thread or process uses; a file of that name is a leftover. It is short,
// and so possible wherever the target's own name is: "~o1a2c-3.tmp".
CString DraftPath(const CString& target);

// Removes drafts that are older than a day from the target's folder, whatever their target was. A draft that a process
// has open stays.
void RemoveOldDrafts(const CString& target);

// The temporary file that is written in full and then renamed to its target, so
// that nobody ever sees half a target.
//
// A process that is killed leaves its draft behind: whoever writes the next one
// takes away those that are too old to be in use. Any thread.
#pragma once

#include "mfc/CString.h"

// A name in the target's folder that no other thread or process uses, and that nobody can foresee who might leave a
// link of that name there: "~o1a2b3c4d-5e6f7a8b.tmp". Create it with CREATE_NEW. Empty when the system gives no random
// number.
CString DraftPath(const CString& target);

// Removes drafts that are older than a day from the target's folder, whatever their target was. A draft that a process
// has open stays.
void RemoveOldDrafts(const CString& target);

// The temporary file that is written in full and then renamed to its target, so that no reader ever sees half a target.
//
// A process that is killed leaves its draft behind; the next writer removes drafts that are too old to be in use. Any
// thread.
#pragma once

#include "mfc/CString.h"

// Returns a name in the target's folder that no other thread or process uses: "~o1a2b3c4d-5e6f7a8b.tmp". It is random,
// so that no user can foresee it and leave a link of that name there. Create the file with CREATE_NEW. Empty when the
// system gives no random number.
CString DraftPath(const CString& target);

// Removes drafts that are older than a day from the target's folder, whatever their target was. A draft that a process
// has open stays.
void RemoveOldDrafts(const CString& target);

// Notices a selection, or a destination, that is not as it was when it was last looked at.
#pragma once

#include "orbwatcher4/core/due/DueEnumerations.h"
#include "orbwatcher4/core/selection/Selection.h"

// Makes a full enumeration due when the selection may hold what was never looked at. `content`: see SelectionNote::Of;
// read it before the files are loaded, so that a later edit is noticed by the next run.
void NoticeSelection(DueEnumerations& due, Selection& selection, const CString& content) noexcept;

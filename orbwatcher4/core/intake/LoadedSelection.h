// Compares a selection that was just loaded with the one that was looked at last. Any thread.
#pragma once

#include "orbwatcher4/core/due/DueEnumerations.h"
#include "orbwatcher4/core/selection/Selection.h"

// Makes a full enumeration due when the loaded selection is another one than was looked at last, or when one of its
// destinations is none any more. Does nothing while the watcher does not watch: the start of a watch does it then.
void NoticeLoadedSelection(DueEnumerations& due, Selection& selection) noexcept;

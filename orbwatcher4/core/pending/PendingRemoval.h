// Removes the pending files of rules that are gone.
//
// Any process can set the event that ends a removal. A removal that was ended may leave entries that are not selected
// any more; the hand-out looks at them again (PendingStore::mayHoldUnselected). All functions throw std::bad_alloc.
#pragma once

#include "orbwatcher4/core/pending/PendingStore.h"
#include "orbwatcher4/core/selection/Selection.h"

#include <set>

namespace PendingRemoval
{

// Returns true while the event is set that asks the long removals to end.
bool IsAborted();
// Removes the entries whose paths begin with the prefix.
void RemoveBelow(PendingStore& pending, const CString& prefix);
// Removes those of them whose ending has its key in removedMasks; when that is empty, those whose ending has none in
// skippedMasks. A key is PathHash64 of the lower-cased ending with its dot.
void RemoveByMasks(PendingStore& pending, const CString& prefix, const std::set<std::uint64_t>& removedMasks,
                   const std::set<std::uint64_t>& skippedMasks);
// Removes the files that the disk shows below the folder, whose path ends in a backslash, with the rights of the
// thread.
void RemoveOnDisk(Selection& selection, PendingStore& pending, const CString& directory);

} // namespace PendingRemoval

// The pending files as a list for the service (XML; docs/pending-list.md).
#pragma once

#include "orbwatcher4/core/environment/Config.h"
#include "orbwatcher4/core/pending/PendingStore.h"

namespace PendingList
{

// Returns true when the file is such a list: XML with the document element "root" that is empty, or holds an "item" or
// a "count".
bool IsList(const wchar_t* path);
// Adds at most so many pending files to the list, without deletions and internal files. count: raised for each file
// that was added. Failures are logged. Throws std::bad_alloc.
void Add(PendingStore& pending, const Config& config, const wchar_t* path, int most, int& count);

} // namespace PendingList

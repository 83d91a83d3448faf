// The way in which SQLite makes its files: for their owner, the system and its administrators only, and never through a
// link.
//
// SQLite gives no access list to the files that it makes. If other users may write to the folder of an index, they
// could read its files, or put a link in the place of a file that SQLite is about to make. Any thread.
#pragma once

namespace IndexFiles
{

// Returns the name of the file layer for opening databases; null, which means the usual layer, when it could not be
// registered.
const char* Name();

} // namespace IndexFiles

// How SQLite makes its files: for their owner, the system and its administrators alone, and never through a link.
//
// SQLite gives the files that it makes no access list of their own: where an index lies in a folder that others may
// write to, they could read it, or put a link in the place of a file that is still to be made. Any thread.
#pragma once

namespace IndexFiles
{

// The name of the file layer to open databases with; null, for the usual one, when it could not be registered.
const char* Name();

} // namespace IndexFiles

// Limits the places of libraries that are loaded while the program runs to its own folder and the system's. Neither the
// current folder nor PATH is used, because users put files there.
#pragma once

#include <windows.h>

// Applies to the whole process; call it before anything else. The libraries that the program is linked to are loaded
// before, from the same places.
inline bool UseOwnLibrariesOnly()
{
    return SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32) != FALSE;
}

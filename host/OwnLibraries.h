// Where the program may take libraries from that are loaded while it runs: its own
// folder and the system's. Neither the current folder nor PATH, where users put files.
#pragma once

#include <windows.h>

// For the whole process; before anything else. What the program is linked to is loaded before, from the same places.
inline bool UseOwnLibrariesOnly()
{
    return SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32) != FALSE;
}

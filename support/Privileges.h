// Rights that let a backup read what its user may not open.
#pragma once

#include <windows.h>

// Enables a privilege for the calling thread, which impersonates its own process when it had no token,
// and goes on doing so. 0, or ERROR_FUNCTION_FAILED. A token that does not hold the privilege counts as
// success. Messages go to standard output.
DWORD EnableThreadPrivilege(const wchar_t* privilegeName);

// Enables backup, restore and change-notify for the process, as far as they are to be had.
void EnableProcessPrivileges();

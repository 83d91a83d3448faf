// Privileges that let a backup read files that its user may not open.
#pragma once

#include <windows.h>

// Enables a privilege for the calling thread. A thread without a token impersonates its own process then, and goes on
// doing so. Returns 0, or ERROR_FUNCTION_FAILED. A token that does not hold the privilege counts as success. Messages
// go to standard output.
DWORD EnableThreadPrivilege(const wchar_t* privilegeName);

// Enables backup, restore and change-notify for the process, as far as the process may have them.
void EnableProcessPrivileges();

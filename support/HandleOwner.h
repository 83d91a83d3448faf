// Tells whether the object behind a handle belongs to an account that this process trusts: its own, the system, the
// administrators. Another user may have been first to make a file or a pipe under a name that this product uses. Any
// thread.
#pragma once

#include <windows.h>

// Compares the owner with the account of the process, or of the user whom the thread impersonates. The handle needs
// READ_CONTROL. Returns false, with a last error, also when the owner cannot be read.
bool IsOwnedByTrusted(HANDLE handle) noexcept;

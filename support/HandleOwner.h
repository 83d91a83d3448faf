// Whether what a handle refers to belongs to an account that this process trusts: its
// own, the system, the administrators. Whoever made a file or a pipe under a name that
// this product uses may be a user who came first. Any thread.
#pragma once

#include <windows.h>

// Compares with the account of the process, or of whom the thread impersonates. The handle needs READ_CONTROL. False,
// with a last error, also when the owner cannot be told.
bool IsOwnedByTrusted(HANDLE handle) noexcept;

// Tells whether the object behind a handle belongs to an account that this process trusts: its own, the system, the
// administrators, and whether only such accounts may write to it. Another user may have been first to make a file or a
// pipe under a name that this product uses. Any thread.
#pragma once

#include <windows.h>

// Compares the owner with the account of the process, or of the user whom the thread impersonates. The handle needs
// READ_CONTROL. Returns false, with a last error, also when the owner cannot be read.
bool IsOwnedByTrusted(HANDLE handle) noexcept;

// Returns true when the access list lets another account write to the file or folder, add files to the folder, or
// change the list. An entry that denies access is not counted, so the answer may be true for an account that has no
// access. Returns false also when the list cannot be read. The handle needs READ_CONTROL.
bool MayOthersWrite(HANDLE handle);

// Whether a backup runs on this machine.
#pragma once

// Returns true while the mutex of a backup service exists, whether a thread owns it or not. Asks with the rights of the
// thread: returns false also when the thread may not open the mutex, and when memory has run out.
bool IsBackupRunning() noexcept;

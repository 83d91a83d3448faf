// Whether a backup runs on this machine.
#pragma once

// Returns true while a backup service holds its mutex. Asks with the rights of the thread, and whoever owns the mutex.
// Returns false also when memory has run out.
bool IsBackupRunning() noexcept;

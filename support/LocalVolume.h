// Tells volumes of this machine from those of other machines.
#pragma once

// Returns true for a folder on a volume of this machine; it follows links. Returns false when the folder cannot be
// opened. Any thread.
bool IsOnLocalVolume(const wchar_t* folder);

// When a file was made and last changed.
#pragma once

#include <cstdint>

// Times are FILETIME values in 100-ns units; either pointer may be null. A directory's modification time
// is its creation time: entries that come and go inside it are no change of the directory itself.
// False, with the outputs untouched, when the file cannot be opened for reading. Any thread.
bool GetFileTimes(const wchar_t* path, bool isDirectory, std::uint64_t* creationTime, std::uint64_t* modificationTime);

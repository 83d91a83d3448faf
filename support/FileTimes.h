// When a file was made and last changed, and which file it is.
#pragma once

#include <cstdint>

enum class FileTimesResult {
    Read,
    Unreadable, // the file cannot be opened for reading
    Held,       // a program must give an oplock back first: it has been asked to, and was not waited for
};

// Times are FILETIME values in 100-ns units. A directory's modification time is its creation time: entries that come
// and go inside it are no change of the directory itself.
struct FileTimes {
    std::uint64_t creation = 0;
    std::uint64_t modification = 0;
    // As BY_HANDLE_FILE_INFORMATION has them.
    std::uint32_t volumeSerial = 0;
    std::uint64_t fileId = 0;
};

// Reads all of it with one open file. `times` is untouched unless the result is Read. Never waits for another program:
// a user who holds an oplock on a file of his (FSCTL_REQUEST_OPLOCK) would keep everybody waiting who opens it. Any
// thread.
FileTimesResult ReadFileTimes(const wchar_t* path, bool isDirectory, FileTimes& times);

// The same for one of the times or both; either pointer may be null. False, with the outputs untouched, when they could
// not be read.
bool GetFileTimes(const wchar_t* path, bool isDirectory, std::uint64_t* creationTime, std::uint64_t* modificationTime);

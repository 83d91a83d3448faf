// The times of a file's creation and last change, and the file's identity.
#pragma once

#include <cstdint>

enum class FileTimesResult {
    Read,
    Unreadable, // the file cannot be opened for reading
    Held,       // a program must give an oplock back first: it has been asked to, and this thread did not wait
};

// The times are FILETIME values in 100-ns units. A directory's modification time is its creation time: entries that
// come and go in it are no change of the directory itself.
struct FileTimes {
    std::uint64_t creation = 0;
    std::uint64_t modification = 0;
    // As in BY_HANDLE_FILE_INFORMATION.
    std::uint32_t volumeSerial = 0;
    std::uint64_t fileId = 0;
};

// Reads everything through one open handle. `times` is untouched unless the result is Read. Never waits for another
// program: otherwise a user with an oplock on one of his files (FSCTL_REQUEST_OPLOCK) would stop every thread that
// opens it. Any thread.
FileTimesResult ReadFileTimes(const wchar_t* path, bool isDirectory, FileTimes& times);

// Reads the time of the last change with one call, which opens no handle. The file itself is asked, not the list of its
// folder; a network share may answer with what a list has shown before. Returns false for a folder, for a link, and
// when the file cannot be asked. Never waits for another program. Any thread.
bool ReadModificationTime(const wchar_t* file, std::uint64_t& modificationTime);

// Reads one of the times or both; either pointer may be null. Returns false, with the outputs untouched, when they
// could not be read.
bool GetFileTimes(const wchar_t* path, bool isDirectory, std::uint64_t* creationTime, std::uint64_t* modificationTime);

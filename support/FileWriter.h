// Writes to a file. Tests replace it by one that fails at a chosen call.
#pragma once

#include <windows.h>

class FileWriter
{
public:
    virtual ~FileWriter() = default;
    // Returns false, or writes fewer bytes than asked for, when the file could not take them.
    virtual bool Write(HANDLE file, const void* bytes, DWORD count, DWORD* written)
    {
        return WriteFile(file, bytes, count, written, nullptr) != FALSE;
    }
    // Returns false when the written bytes may not be on the disk.
    virtual bool Flush(HANDLE file) { return FlushFileBuffers(file) != FALSE; }
};

// Returns the writer of the machine. Any thread.
inline FileWriter& SystemFileWriter()
{
    static FileWriter writer;
    return writer;
}

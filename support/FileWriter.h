// Writing to a file, as a thing that tests can make fail at a chosen call.
#pragma once

#include <windows.h>

class FileWriter
{
public:
    virtual ~FileWriter() = default;
    // False, or fewer bytes than asked for, when the file could not take them.
    virtual bool Write(HANDLE file, const void* bytes, DWORD count, DWORD* written)
    {
        return WriteFile(file, bytes, count, written, nullptr) != FALSE;
    }
    // False when what was written may not be on the disk.
    virtual bool Flush(HANDLE file) { return FlushFileBuffers(file) != FALSE; }
};

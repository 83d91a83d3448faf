// "watcher_dump.bin": the paths that wait for backup, carried over a restart.
//
// UTF-16LE without a mark; each path is followed by one line feed. A dump is
// appended to what an earlier one has left. The format is described in
// docs/dump-file.md. One thread at a time.
#pragma once

#include "mfc/CString.h"
#include "support/FileWriter.h"
#include "support/Handle.h"

#include <functional>

// Where it lies: in the data folder.
CString DumpFilePath();
bool DumpExists();
void RemoveDump();
// Keeps one that is not trusted under its name with the ending ".bad". False when it is still in its place.
bool SetDumpAside();

class DumpWriter
{
public:
    DumpWriter(const CString& path, FileWriter& writer);
    bool IsOpen() const { return static_cast<bool>(m_file); }
    // False when the line could not be written whole; the file then ends with the last whole line.
    bool Write(const CString& path);
    // Puts what was written on the disk itself. False when the system cannot.
    bool Flush();

private:
    FileHandle m_file;
    FileWriter& m_writer;
    LARGE_INTEGER m_end = {};
};

// Broken: the file could not be read to its end, or the reading was stopped. NotTrusted: another account may have left
// it there (support/TrustedFile.h); nothing was read, and the last error says why.
enum class DumpRead { Whole, LinesPassedOver, Broken, NotTrusted };

// Reads the file in blocks. `stop` is asked before each unit is looked at.
DumpRead ReadDump(const CString& path, const std::function<bool()>& stop,
                  const std::function<void(const CString&)>& line);

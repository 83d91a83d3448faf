// "watcher_dump.bin": the pending paths, kept over a restart.
//
// UTF-16LE without a mark; each path is followed by one line feed. A dump is appended to an earlier one.
// docs/dump-file.md describes the format. One thread at a time.
#pragma once

#include "mfc/CString.h"
#include "support/FileDigest.h"
#include "support/FileWriter.h"
#include "support/Handle.h"

#include <functional>

// Returns the path of the dump in the data folder.
CString DumpFilePath();
bool DumpExists(); // also when a folder stands in its place
bool IsDumpAFolder();
// Returns false, with a last error, when the dump is still in its place. A dump that is marked read-only is removed,
// too.
bool RemoveDump();
// Renames a dump that is not trusted, with the ending ".bad". Returns false when it is still in its place.
bool SetDumpAside();

class DumpWriter
{
public:
    DumpWriter(const CString& path, FileWriter& writer);
    bool IsOpen() const { return static_cast<bool>(m_file); }
    // Returns false when the line could not be written completely; the file then ends with the last complete line.
    bool Write(const CString& path);
    // Writes buffered data to the disk itself. Returns false when the system cannot.
    bool Flush();

private:
    FileHandle m_file;
    FileWriter& m_writer;
    LARGE_INTEGER m_end = {};
};

// Cut: the file does not end in a whole line. Broken: the file could not be read to its end, or the reading was
// stopped. NotTrusted: another account may have left it there (support/TrustedFile.h); nothing was read, and the last
// error says why.
enum class DumpRead { Whole, Cut, LinesPassedOver, Broken, NotTrusted };

// Reads the file in blocks. `stop` is called before each unit. `digest` receives what was read; may be null.
DumpRead ReadDump(const CString& path, const std::function<bool()>& stop,
                  const std::function<void(const CString&)>& line, FileDigest* digest = nullptr);

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
#include <string>

// Returns the path of the dump in the data folder.
CString DumpFilePath();
bool DumpExists(); // also when a folder stands in its place
bool IsDumpAFolder();
// Returns false, with a last error, when the dump is still in its place. A dump that is marked read-only is removed,
// too.
bool RemoveDump();
// Renames a dump that is not trusted, with the ending ".bad". Returns false when it is still in its place.
bool SetDumpAside();

// Appends paths to a dump, in blocks of 64 KiB.
class DumpWriter
{
public:
    DumpWriter(const CString& path, FileWriter& writer);
    bool IsOpen() const { return static_cast<bool>(m_file); }
    // Adds a path. Returns false when a block could not be written completely; the file then ends with the last
    // complete line, and the paths behind it are not in it.
    bool Add(const CString& path);
    // Writes the last block, and everything to the disk itself. Returns false, as Add does, when the system cannot.
    // Without this call, the last block is not in the file.
    bool Finish();

private:
    bool WriteBlock();

    FileHandle m_file;
    FileWriter& m_writer;
    std::wstring m_block;
    LARGE_INTEGER m_end = {}; // of what has been written
};

// Cut: the file does not end in a whole line. Broken: the file could not be read to its end, or the reading was
// stopped. NotTrusted: another account may have left it there (support/TrustedFile.h); nothing was read, and the last
// error says why.
enum class DumpRead { Whole, Cut, LinesPassedOver, Broken, NotTrusted };

// Reads the file in blocks. `stop` is called before each unit. `digest` receives what was read; may be null.
DumpRead ReadDump(const CString& path, const std::function<bool()>& stop,
                  const std::function<void(const CString&)>& line, FileDigest* digest = nullptr);

// Checks the files that the command line names, before a command uses them: a folder in the place of a file would be
// told as a missing or damaged file. One thread.
#pragma once

#include "host/OutputFiles.h"
#include "host/records/RecordWriter.h"

#include <string>
#include <vector>

// A file that an option names; an empty path is none.
struct OptionFile {
    const wchar_t* option;
    const wchar_t* what; // "the selection"
    std::wstring path;
};

// Returns false, and reports the first one, when a folder stands where a file should be. A missing file may be right:
// the command itself decides that.
bool AreNoFolders(const std::vector<OptionFile>& files, RecordWriter& writer);

// Returns false, and reports it, when the file is one of the others, or is there and does not begin as an index. An
// empty file becomes an index.
bool MayBeIndex(const std::wstring& index, const std::vector<NamedFile>& others, RecordWriter& writer);

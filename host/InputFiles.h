// Checks the files that the command line names, before a command uses them: a folder in the place of a file would be
// told as a missing or damaged file. One thread.
#pragma once

#include "host/OutputFiles.h"
#include "host/records/RecordWriter.h"

#include <optional>
#include <string>
#include <vector>

// What the command line names.
struct Inputs {
    SelectionFiles selection = {};
    std::vector<NamedFile> others = {};
    std::wstring index = {};
    std::wstring destination = {}; // as it was written
};

// Returns how a command ends that uses the settings, or writes beside them, and must not run; nothing when it may. The
// data folder must be one (DataFolderTrust.h), no folder may stand where a file should be, the index must begin as one
// when it is there and not empty, and the destination must be possible. A missing file may be right: the command itself
// decides that.
std::optional<ExitCode> RefuseInputs(const Inputs& inputs, RecordWriter& writer);

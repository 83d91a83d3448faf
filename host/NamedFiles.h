// Checks the files that the command line names. Before a command uses them: a folder in the place of a file would be
// told as a missing or damaged file. Before it writes: no command writes over what it reads, or over a file that it did
// not make itself. Files are compared as the system sees them, so that a link or a short name hides nothing. One
// thread.
#pragma once

#include "host/Selection.h"
#include "host/records/RecordWriter.h"

#include <optional>
#include <string>
#include <vector>

struct NamedFile {
    std::wstring what;           // "the selection"
    std::wstring path;           // may be empty: then it is none
    const wchar_t* option = L""; // that names it
};

std::vector<NamedFile> FilesOf(const SelectionFiles& files);
// Returns what no command writes over: the selection, the index with what the database keeps beside it, and the
// product's files in the data folder.
std::vector<NamedFile> FilesThatStay(const SelectionFiles& selection, const std::wstring& index);

// Returns what the file is among these, such as "the selection", however its path is spelled; empty when it is none.
std::wstring NameAmong(const std::wstring& path, const std::vector<NamedFile>& files);

// `option`: the option that names the output. `ownKind`: what a file must be to be written over or extended. `isOwn`:
// tells whether it is that.
struct Output {
    std::wstring path;
    std::wstring option;
    std::wstring ownKind;
    bool (*isOwn)(const std::wstring& path);
    bool force; // another file may be replaced; never an input
};

// Returns false, and reports it, when the output must not be written.
bool MayBeWritten(const Output& output, const std::vector<NamedFile>& inputs, RecordWriter& writer);

// The files and folders that the command line names.
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

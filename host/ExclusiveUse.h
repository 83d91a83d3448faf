// Keeps the data folder and the index for one command at a time. Two commands that hand out and record would each take
// what the other one is to keep. A command holds a claim file beside the index and one in the data folder open; the
// system lets go of both when its process ends, however it ends. Commands that only ask a running watch claim nothing.
// One thread.
#pragma once

#include "host/ServiceOptions.h"
#include "support/Handle.h"

#include <string>

// Returns the known ones of both files, in words: "the selection A with the index B".
std::wstring NamedUse(const FolderUse& use);

// Returns why a command with this selection and index must not use the data folder: it belongs to others. Empty when it
// may.
std::wstring ForeignFolder(const FolderUse& use);
// Returns true, and reports it, when the data folder belongs to another selection or index. `mayTakeOver`: the command
// has the option --take-over.
bool TellForeignFolder(const FolderUse& use, bool mayTakeOver, RecordWriter& writer);

// An exclusive handle on a file that names its holder.
class Claim
{
public:
    Claim() = default;
    // Gives the claim back and removes its file.
    ~Claim();
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

    // Returns false when another process holds the claim. A file that cannot be made for another reason
    // excludes no other command; the log says so.
    bool Take(const CString& path, const std::wstring& holder);
    // Returns the holder of the claim on this path; empty when there is none, or when it cannot be read.
    static std::wstring HolderOf(const CString& path);

private:
    CString m_path;
    FileHandle m_file;
};

class ExclusiveUse
{
public:
    // Takes the data folder over when the command is to. Returns false, and reports it, when the folder belongs to
    // another selection or index, when another command uses the folder or the index, or when another program's watcher
    // runs on the folder.
    bool Take(const ServiceOptions& options, RecordWriter& writer);

private:
    bool TakeClaims(const ServiceOptions& options, RecordWriter& writer);

    Claim m_folder;
    Claim m_index;
};

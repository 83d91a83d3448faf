// The cache tree of the estimator: files and their sizes.
//
// Nothing here locks. Nothing here recurses, so trees may have any depth.
#pragma once

#include "orbwatcher4/estimator/FSEntry.h"

#include <vector>

FSEntrySetPtr MakeEntrySet();

// Returns the set for the last component of the path. Returns null when a component is missing and `create` is false,
// and for a path that no disk can have (without a component, or with "?" as one). With `create`, a file in the way
// becomes a folder.
FSEntrySetPtr FindOrCreateEntrySet(const FSEntrySetPtr& root, const wchar_t* path, bool create);

// Returns the entry of a file or folder, valid until the next insertion; or null.
const FSEntry* IsPathCached(const FSEntrySetPtr& root, const wchar_t* path);

// Returns the entry that was inserted, or would have been: an existing path stays as it is.
FSEntry InsertFile(const FSEntrySetPtr& root, const wchar_t* path, std::uint64_t size);

// Walks a tree, the entries of each folder in the order of its table. The tree must not grow meanwhile.
class EntryWalk
{
public:
    using SetPtr = std::shared_ptr<const FSEntrySet>;
    // `parentPath`: path of the folder whose set this is; null for the root.
    EntryWalk(const SetPtr& set, const wchar_t* parentPath);

    enum class Step { File, FolderBegins, FolderEnds, Done };
    Step Next();
    // Path and entry of the last step.
    const CString& Path() const { return m_path; }
    const FSEntry& File() const { return *m_file; }

private:
    struct Folder {
        SetPtr set; // keeps the entries alive
        FSEntrySet::const_iterator next;
        int pathLength;
    };
    void Enter(const SetPtr& set);

    std::vector<Folder> m_folders; // from the first one to the current one
    CString m_path;
    const FSEntry* m_file = nullptr;
};

// The cache tree of the estimator: which files there are, and how large.
//
// None of it locks. Trees of any depth may come and go: nothing here recurses.
#pragma once

#include "orbwatcher4/estimator/FSEntry.h"

#include <vector>

FSEntrySetPtr MakeEntrySet();

// The set that is to hold the last component of the path, or null: when a component is missing and `create` is false,
// and for a path that no disk can have (without any component, or with "?" as one). With `create`, what stands in the
// way as a file becomes a folder.
FSEntrySetPtr FindOrCreateEntrySet(const FSEntrySetPtr& root, const wchar_t* path, bool create);

// The entry of a file or folder, good until the next insertion; or null.
const FSEntry* IsPathCached(const FSEntrySetPtr& root, const wchar_t* path);

// A path that is there stays as it is. What was, or would have been, inserted.
FSEntry InsertFile(const FSEntrySetPtr& root, const wchar_t* path, std::uint64_t size);

// Goes over a tree, each folder's entries in the order of its table. The tree must not grow meanwhile.
class EntryWalk
{
public:
    using SetPtr = std::shared_ptr<const FSEntrySet>;
    // `parentPath`: of the folder whose set this is; null for the root.
    EntryWalk(const SetPtr& set, const wchar_t* parentPath);

    enum class Step { File, FolderBegins, FolderEnds, Done };
    Step Next();
    // Of the file or folder that the last step was about.
    const CString& Path() const { return m_path; }
    const FSEntry& File() const { return *m_file; }

private:
    struct Folder {
        SetPtr set; // keeps the entries alive
        FSEntrySet::const_iterator next;
        int pathLength;
    };
    void Enter(const SetPtr& set);

    std::vector<Folder> m_folders; // from the first one to the one that is being read
    CString m_path;
    const FSEntry* m_file = nullptr;
};

// Looks at one path after the other, in their order. When a folder is missing, nothing below it is looked at: many
// files that are deleted one by one have lost their folder, too.
//
// Like AskedRoots, an object is worth no more than the walk that it was made for. One thread.
#pragma once

#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/LockOrder.h"
#include "support/SystemPath.h"

class SortedLooks
{
public:
    // Returns the attributes of the path, which has no backslash at the end. Without any, the last error says why.
    DWORD Attributes(const CString& path)
    {
        if (!m_missing.IsEmpty() && path.View().starts_with(m_missing.View())) {
            SetLastError(ERROR_PATH_NOT_FOUND);
            return INVALID_FILE_ATTRIBUTES;
        }
        const DWORD attributes = Ask(path);
        if (attributes == INVALID_FILE_ATTRIBUTES && GetLastError() == ERROR_PATH_NOT_FOUND) {
            NoteFolderOf(path);
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
        return attributes;
    }
    bool Exists(const CString& path) { return Attributes(path) != INVALID_FILE_ATTRIBUTES; }

private:
    static DWORD Ask(const CString& path)
    {
        const LockOrder::DiskScope disk;
        return GetFileAttributesW(SystemPath(path));
    }

    // Asks for the folder itself, because a wrong answer about it would be one about all of its files. A root is never
    // noted as missing: drives come and go.
    void NoteFolderOf(const CString& path)
    {
        const CString folder = path.Left(path.ReverseFind(L'\\') + 1);
        if (folder.GetLength() <= RootOf(path).GetLength())
            return;
        const DWORD attributes = Ask(folder.Left(folder.GetLength() - 1));
        if (attributes == INVALID_FILE_ATTRIBUTES && MeansNothingThere(GetLastError()))
            m_missing = folder;
    }

    CString m_missing; // with a backslash at the end; empty: no folder is known to be missing
};

// Answers the questions of a walk about the disk. Tests give other answers. Any thread.
//
// Paths are plain; that of a folder may end in a backslash.
#pragma once

#include "mfc/CString.h"

#include <windows.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

class ScanDisk
{
public:
    virtual ~ScanDisk() = default;

    // Returns the attributes of a link itself, not those of its target. INVALID_FILE_ATTRIBUTES when there is nothing.
    virtual DWORD Attributes(const CString& path);
    // Returns nothing when there is no file. A file that exists and cannot be examined has size 0.
    virtual std::optional<unsigned __int64> FileSize(const CString& path);
    // Passes on each entry, dots included, until `take` returns false. Returns 0, or the error that ended the reading
    // early.
    using Take = std::function<bool(const WIN32_FIND_DATAW&)>;
    virtual DWORD List(const CString& folder, const wchar_t* pattern, const Take& take);

    // Reads the reparse data of a link. Returns 0, or the system's error.
    virtual DWORD ReadReparse(const CString& path, std::vector<std::byte>& data);
    // Returns the path at which the system arrives when it follows the path; empty when it cannot.
    virtual CString Follow(const CString& path);
    // Returns the shortest path at which a volume (\\?\Volume{...}\) is mounted; empty when there is none.
    virtual CString MountedAt(const CString& volume);
};

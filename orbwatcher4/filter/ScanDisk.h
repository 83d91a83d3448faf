// What a walk asks the disk. Tests put their own answers in. Any thread.
//
// Paths are plain ones; a folder's may end in a backslash.
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

    // Of a link itself, not of what it leads to. INVALID_FILE_ATTRIBUTES when there is nothing.
    virtual DWORD Attributes(const CString& path);
    // Nothing where no file is. One that is there and cannot be looked at has size 0.
    virtual std::optional<unsigned __int64> FileSize(const CString& path);
    // Hands on each entry, dots included, until `take` returns false. 0, or the error that ended the reading early.
    using Take = std::function<bool(const WIN32_FIND_DATAW&)>;
    virtual DWORD List(const CString& folder, const wchar_t* pattern, const Take& take);

    // The reparse data of a link. 0, or the system's error.
    virtual DWORD ReadReparse(const CString& path, std::vector<std::byte>& data);
    // Where the system itself ends up when it follows the path; empty when it cannot.
    virtual CString Follow(const CString& path);
    // The shortest path that a volume (\\?\Volume{...}\) is mounted at; empty when it has none.
    virtual CString MountedAt(const CString& volume);
};

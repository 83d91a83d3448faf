/// @file
/// The receiver of what a walk over directories finds.
#pragma once

#include <cstdint>

/// The receiver of a walk. All three functions are called on the walking thread.
class SmartScanCaller
{
public:
    /// Reports a file; `size` in bytes.
    virtual void FileFoundCallback(const wchar_t* path, unsigned __int64 size) = 0;
    /// Called before each entry; false aborts the walk.
    virtual bool ProgressCallback() = 0;
    /// Reports a folder; the path ends in a backslash.
    virtual void FolderFoundCallback(const wchar_t* path) = 0;

protected:
    ~SmartScanCaller() = default;
};

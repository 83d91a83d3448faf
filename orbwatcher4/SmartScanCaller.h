/// @file
/// Who is told what a walk over directories finds.
#pragma once

#include <cstdint>

/// All three are called on the walking thread.
class SmartScanCaller
{
public:
    /// `size` in bytes.
    virtual void FileFoundCallback(const wchar_t* path, unsigned __int64 size) = 0;
    /// Asked before each entry; false aborts the walk.
    virtual bool ProgressCallback() = 0;
    /// The path ends in a backslash.
    virtual void FolderFoundCallback(const wchar_t* path) = 0;

protected:
    ~SmartScanCaller() = default;
};

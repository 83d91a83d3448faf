// A caller of walks that remembers what it was told.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/SmartScanCaller.h"

#include <functional>
#include <map>
#include <string>

class ScanRecord final : public SmartScanCaller
{
public:
    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override
    {
        ++files[path];
        sizes[path] = size;
        if (onFile)
            onFile();
    }
    bool ProgressCallback() override { return ++asked != abortAt; }
    void FolderFoundCallback(const wchar_t* path) override { ++folders[path]; }

    int FilesReported() const
    {
        int count = 0;
        for (const auto& [path, times] : files)
            count += times;
        return count;
    }
    // Counts how often each item was reported.
    std::map<std::wstring, int> files, folders;
    std::map<std::wstring, std::uint64_t> sizes;
    std::function<void()> onFile;
    int asked = 0;
    int abortAt = 0; // the question that is answered with false
};
using Counts = std::map<std::wstring, int>;

// A watch on a folder in which another program makes files.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

class StormWatch
{
public:
    virtual ~StormWatch() = default;
    // Returns the number of files that have been seen so far; any thread.
    virtual std::size_t Seen() = 0;
    // Whether this one has. When nothing comes any more.
    virtual bool HasSeen(const std::wstring& path) = 0;
};

// Each watches the folder, with everything below it, from here on.
using StartStormWatch = std::unique_ptr<StormWatch>(const std::wstring& folder);
StartStormWatch WatchWithALoop; // ReadDirectoryChangesW alone, with 64 KiB
StartStormWatch WatchWithLibuv;

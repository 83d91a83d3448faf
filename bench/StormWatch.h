// A watch on a folder in which another program makes files.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class StormWatch
{
public:
    virtual ~StormWatch() = default;
    // Returns the number of paths that are known so far; any thread. It only grows.
    virtual std::size_t Known() = 0;
    // Returns these paths in the order in which they became known. Call it when no more of them come.
    virtual std::vector<std::wstring> InOrder() = 0;
};

// Each watches the folder, with everything below it, from here on.
using StartStormWatch = std::unique_ptr<StormWatch>(const std::wstring& folder);
StartStormWatch WatchWithALoop; // ReadDirectoryChangesW alone, with a buffer of our size
StartStormWatch WatchWithLibuv; // its buffer has 4 KiB, and no call makes it larger

// The names of folders as the disk spells them; an estimate has them in lower case. One thread.
#pragma once

#include <string>

class PathSpelling
{
public:
    // Returns what the path adds to that of a folder that contains it; the whole path when `folder` is empty. A name
    // that the disk does not have is returned as given.
    std::wstring NameOf(const std::wstring& path, const std::wstring& folder) const;
};

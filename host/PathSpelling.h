// Names of folders as the disk spells them: an estimate knows them in lower case.
// One thread.
#pragma once

#include <string>

class PathSpelling
{
public:
    // What the path adds to the one of a folder that it lies in; the whole path where that is empty. As it is given
    // where the disk does not know it.
    std::wstring NameOf(const std::wstring& path, const std::wstring& folder) const;
};

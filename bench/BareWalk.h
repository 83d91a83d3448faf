// The shortest loop over the files of a tree.
#pragma once

#include "support/Handle.h"

#include <windows.h>

#include <string>
#include <string_view>

// Calls `take` with the path and the listed data of each file below the folder, whose path ends in a backslash.
template <typename Take>
void WalkBareFolder(const std::wstring& folder, Take& take)
{
    WIN32_FIND_DATAW data;
    const FindHandle search(FindFirstFileExW((folder + L'*').c_str(), FindExInfoBasic, &data, FindExSearchNameMatch,
                                             nullptr, FIND_FIRST_EX_LARGE_FETCH));
    if (!search)
        return;
    do {
        const std::wstring_view name = data.cFileName;
        if (name == L"." || name == L"..")
            continue;
        const std::wstring path = folder + data.cFileName;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
            WalkBareFolder(path + L'\\', take);
        else
            take(path, data);
    } while (FindNextFileW(search.Get(), &data));
}

#include "tests/support/FolderTree.h"

#include "support/Handle.h"
#include "tests/support/SystemBelow.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <string_view>

namespace
{

// Removes one entry of a folder.
void RemoveEntry(const std::wstring& path, DWORD attributes)
{
    if (attributes & FILE_ATTRIBUTE_REPARSE_POINT)
        RemoveLink(path);
    else if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        RemoveTree(path);
    else if (!DeleteFileW(path.c_str()) && SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL))
        DeleteFileW(path.c_str());
}

// Wine does not list a link to nothing, so the system below removes it. On Windows there is none below.
bool RemoveBelow(const std::wstring& folder)
{
    const std::wstring path = PathBelow(folder);
    return !path.empty() && RunBelow(L"rm -rf '" + path + L"'") &&
           GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES;
}

} // namespace

bool RemoveTree(const std::wstring& folder)
{
    WIN32_FIND_DATAW found;
    FindHandle search(FindFirstFileW((folder + L"\\*").c_str(), &found));
    if (search) {
        do {
            const std::wstring_view name = found.cFileName;
            if (name != L"." && name != L"..")
                RemoveEntry(folder + L"\\" + found.cFileName, found.dwFileAttributes);
        } while (FindNextFileW(search.Get(), &found));
        search.Reset();
    }
    return RemoveDirectoryW(folder.c_str()) || GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES ||
           RemoveBelow(folder);
}

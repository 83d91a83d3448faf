#include "orbwatcher4/filter/PathRoot.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>

CString PathRoot(const wchar_t* path)
{
    CString root(path);
    const int length = root.GetLength();
    // The shell cuts in place, in a buffer that it takes to hold MAX_PATH units. Wine's steps over the end of a text
    // that ends in a colon, and cuts what it finds there: nothing but zeros must be found.
    const int capacity = std::max(length, MAX_PATH) + 2;
    wchar_t* const buffer = root.GetBuffer(capacity);
    std::fill(buffer + length, buffer + capacity, L'\0');
    PathStripToRootW(buffer);
    root.ReleaseBuffer();
    return root;
}

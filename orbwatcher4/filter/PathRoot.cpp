#include "orbwatcher4/filter/PathRoot.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>

CString PathRoot(const wchar_t* path)
{
    CString root(path);
    const int length = root.GetLength();
    // The shell cuts the text in place and assumes a buffer of MAX_PATH units. Wine's function runs past the end of a
    // text that ends in a colon and cuts what it finds there, so zeros must follow.
    const int capacity = std::max(length, MAX_PATH) + 2;
    wchar_t* const buffer = root.GetBuffer(capacity);
    std::fill(buffer + length, buffer + capacity, L'\0');
    PathStripToRootW(buffer);
    root.ReleaseBuffer();
    return root;
}

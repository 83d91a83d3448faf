// The backslash at the end of a folder's path. Any thread.
#pragma once

#include "mfc/CString.h"

inline bool EndsInBackslash(const CString& path) { return !path.IsEmpty() && path[path.GetLength() - 1] == L'\\'; }

inline CString WithoutBackslash(const CString& path)
{
    return EndsInBackslash(path) ? path.Left(path.GetLength() - 1) : path;
}

inline CString WithBackslash(const CString& path) { return EndsInBackslash(path) ? path : path + L'\\'; }

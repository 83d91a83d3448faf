/// @file
/// What counts as a file's extension.
#pragma once

#include "mfc/CString.h"

/// Returns the extension of a path or name: from the last dot of the name to its end; empty when it has none.
inline CString ExtensionOf(const CString& path)
{
    const int dot = path.ReverseFind(L'.');
    return dot > path.ReverseFind(L'\\') ? path.Mid(dot) : CString();
}

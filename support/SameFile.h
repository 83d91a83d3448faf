// Tells whether two paths name one file or folder, as the system sees it. Any thread.
#pragma once

#include "mfc/CString.h"

// Returns true when both paths have the same absolute form, without regard to case, or when both exist and are the same
// file: by a short name, a link, another drive letter or a second name. Empty paths name nothing.
bool IsSameFile(const CString& first, const CString& second);

// Returns the absolute form of a path; an empty path stays empty.
CString AbsolutePath(const CString& path);

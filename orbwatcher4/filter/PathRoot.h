// Finds the root of a path as the shell does. Any thread.
#pragma once

#include "mfc/CString.h"

// Returns C:\ or \\server\share in the letters of the path; empty when it has no root.
CString PathRoot(const wchar_t* path);

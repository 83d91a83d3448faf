// The root of a path as the shell sees it. Any thread.
#pragma once

#include "mfc/CString.h"

// C:\ or \\server\share, in the path's own letters; empty when it has none.
CString PathRoot(const wchar_t* path);

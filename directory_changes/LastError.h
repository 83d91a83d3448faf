// The error of a call that has failed, which is never 0.
#pragma once

#include <windows.h>

// Returns the calling thread's last error, or `otherwise` where the failed call has set none: 0 would be taken for
// success.
inline DWORD LastErrorOr(DWORD otherwise) noexcept
{
    const DWORD error = GetLastError();
    return error ? error : otherwise;
}

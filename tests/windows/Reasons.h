// Why a test of something that only Windows has is skipped: what the system answered when it was asked for it.
#pragma once

#include <windows.h>

#include <string>

constexpr DWORD ElevationRequired = 740; // ERROR_ELEVATION_REQUIRED, which the headers of MinGW do not name

// Returns the reason for a call that failed. The kit runs a test again with more rights when its reason begins with
// "needs an administrator".
inline std::string WhyNot(const std::string& call, DWORD error)
{
    const bool needsRights =
        error == ERROR_ACCESS_DENIED || error == ERROR_PRIVILEGE_NOT_HELD || error == ElevationRequired;
    return std::string(needsRights ? "needs an administrator: " : "") + call + " fails with error " +
           std::to_string(error);
}

inline std::string WhyNot(const std::string& call) { return WhyNot(call, GetLastError()); }

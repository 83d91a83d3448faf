#include "orbwatcher4/core/environment/ActingForUser.h"

#include "companions/logging/OrbLogging.h"

void ActingForUser::LogRefusal()
{
    constexpr int impersonationLine = 132;
    const DWORD error = GetLastError();
    g_OrbLog.WriteLog(2, L"OrbWatcher", impersonationLine, L"Failed to impersonate user");
    g_OrbLog.Log(L"Last error: %d", error);
}

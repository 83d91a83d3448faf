#include "support/Privileges.h"

#include "support/Handle.h"

#include <cstdio>

namespace
{

constexpr DWORD Access = TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY;

DWORD Failed(const char* message)
{
    std::fputs(message, stdout);
    std::fflush(stdout);
    return ERROR_FUNCTION_FAILED;
}

TOKEN_PRIVILEGES Enabled(const LUID& privilege)
{
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Luid = privilege;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    return privileges;
}

void EnableProcessPrivilege(const wchar_t* name)
{
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &opened))
        return;
    const KernelHandle token(opened);
    LUID privilege;
    if (!LookupPrivilegeValueW(nullptr, name, &privilege))
        return;
    TOKEN_PRIVILEGES privileges = Enabled(privilege);
    AdjustTokenPrivileges(token.Get(), FALSE, &privileges, sizeof privileges, nullptr, nullptr);
}

} // namespace

DWORD EnableThreadPrivilege(const wchar_t* privilegeName)
{
    HANDLE opened = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), Access, TRUE, &opened)) {
        if (GetLastError() != ERROR_NO_TOKEN)
            return Failed("Failed OpenThreadToken\n");
        if (!ImpersonateSelf(SecurityImpersonation) || !OpenThreadToken(GetCurrentThread(), Access, FALSE, &opened))
            return ERROR_FUNCTION_FAILED;
    }
    const KernelHandle token(opened);
    LUID privilege;
    if (!LookupPrivilegeValueW(nullptr, privilegeName, &privilege))
        return Failed("Failed LookupPrivilegeValue\n");
    TOKEN_PRIVILEGES privileges = Enabled(privilege);
    if (!AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr))
        return Failed("Failed AdjustTokenPrivileges\n");
    return ERROR_SUCCESS;
}

void EnableProcessPrivileges()
{
    for (const wchar_t* name : {L"SeBackupPrivilege", L"SeRestorePrivilege", L"SeChangeNotifyPrivilege"})
        EnableProcessPrivilege(name);
}

#include "support/Privileges.h"
#include "support/Handle.h"
#include "support/Impersonation.h"
#include "tests/support/ImportedCall.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <io.h>

#include <cstdio>

namespace
{

// Returns the standard output of an operation.
template <typename Action>
std::string Printed(Action action)
{
    const TempFolder folder;
    std::fflush(stdout);
    const int before = _dup(1);
    FILE* file = _wfopen(folder.Path(L"out"), L"wb");
    _dup2(_fileno(file), 1);
    action();
    std::fflush(stdout);
    _dup2(before, 1);
    _close(before);
    std::fclose(file);
    return folder.ReadBytes(L"out");
}

TEST(Privileges, AThreadWithoutATokenEndsUpImpersonatingTheProcess)
{
    HANDLE token = nullptr;
    ASSERT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token));
    EXPECT_EQ(EnableThreadPrivilege(L"SeBackupPrivilege"), 0u);
    EXPECT_EQ(EnableThreadPrivilege(L"SeRestorePrivilege"), 0u);
    EXPECT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token));
    CloseHandle(token);
    RevertToSelf();
}

// Returns the token's attributes of a privilege; nothing when it does not have it.
bool IsEnabled(HANDLE token, const wchar_t* name)
{
    LUID luid;
    alignas(TOKEN_PRIVILEGES) char buffer[4096];
    DWORD size = 0;
    if (!LookupPrivilegeValueW(nullptr, name, &luid) ||
        !GetTokenInformation(token, TokenPrivileges, buffer, sizeof buffer, &size))
        return false;
    const auto* privileges = reinterpret_cast<const TOKEN_PRIVILEGES*>(buffer);
    for (DWORD i = 0; i < privileges->PrivilegeCount; ++i)
        if (privileges->Privileges[i].Luid.LowPart == luid.LowPart &&
            (privileges->Privileges[i].Attributes & SE_PRIVILEGE_ENABLED))
            return true;
    return false;
}

TEST(Privileges, OfTheThreadAreReallyEnabled)
{
    EnableThreadPrivilege(L"SeBackupPrivilege");
    EnableThreadPrivilege(L"SeRestorePrivilege");
    HANDLE opened = nullptr;
    ASSERT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &opened));
    const KernelHandle token(opened);
    EXPECT_TRUE(IsEnabled(token.Get(), L"SeBackupPrivilege"));
    EXPECT_TRUE(IsEnabled(token.Get(), L"SeRestorePrivilege"));
    RevertToSelf();
}

TEST(Privileges, AnUnknownPrivilegeFailsWithItsMessage)
{
    DWORD result = 0;
    EXPECT_EQ(Printed([&] { result = EnableThreadPrivilege(L"SeNoSuchPrivilege"); }), "Failed LookupPrivilegeValue\n");
    EXPECT_EQ(result, 1627u);
    RevertToSelf();
}

bool ProcessHas(const wchar_t* name)
{
    HANDLE opened = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened);
    const KernelHandle token(opened);
    return IsEnabled(token.Get(), name);
}

bool Disable(const wchar_t* name)
{
    HANDLE opened = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &opened);
    const KernelHandle token(opened);
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    return LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid) &&
           AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr);
}

TEST(Privileges, OfTheProcessAreReallyEnabledWithoutAWord)
{
    const wchar_t* const names[] = {L"SeBackupPrivilege", L"SeRestorePrivilege", L"SeChangeNotifyPrivilege"};
    for (const wchar_t* name : names) {
        ASSERT_TRUE(Disable(name));
        ASSERT_FALSE(ProcessHas(name));
    }
    EXPECT_EQ(Printed([] { EnableProcessPrivileges(); }), "");
    for (const wchar_t* name : names)
        EXPECT_TRUE(ProcessHas(name));
}

HANDLE Token()
{
    HANDLE token = nullptr;
    return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) ? token : nullptr;
}

TEST(CallerToken, IsGivenBack)
{
    {
        const CallerTokenScope scope;
        ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    }
    EXPECT_FALSE(KernelHandle(Token()));
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    {
        const CallerTokenScope scope;
        RevertToSelf();
    }
    EXPECT_TRUE(KernelHandle(Token()));
    RevertToSelf();
}

BOOL WINAPI Unreadable(HANDLE, DWORD, BOOL, PHANDLE)
{
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST(CallerToken, ThatCannotBeReadDoesNotLeaveTheThreadTheRightsOfTheProcess)
{
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    {
        const ImportedCall unreadable(nullptr, "OpenThreadToken", Unreadable);
        const CallerTokenScope scope;
    }
    EXPECT_TRUE(KernelHandle(Token()));
    RevertToSelf();
}

} // namespace

#include "support/Privileges.h"
#include "support/Handle.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <io.h>

#include <cstdio>

namespace
{

// What is printed to standard output meanwhile.
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

// What the token says of a privilege; nothing when it does not have it.
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

TEST(Privileges, TheProcessIsGivenWhatIsToBeHadWithoutAWord)
{
    EXPECT_EQ(Printed([] { EnableProcessPrivileges(); }), "");
}

} // namespace

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

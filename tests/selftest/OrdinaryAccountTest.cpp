// The account that the tests of the kit run as.
#include "tests/selftest/OrdinaryAccount.h"

#include "support/AccountSids.h"

#include <gtest/gtest.h>

namespace
{

TEST(TheOrdinaryAccount, HasATokenWithoutTheAdministratorsOrSaysThatThereIsNone)
{
    const OrdinaryAccount account;
    if (!account.Token()) {
        EXPECT_EQ(account.Words().starts_with("an administrator"), account.IsAdministrator());
        return;
    }
    HANDLE copy = nullptr;
    ASSERT_TRUE(DuplicateToken(account.Token(), SecurityIdentification, &copy));
    const KernelHandle token(copy);
    AccountSid administrators;
    ASSERT_TRUE(WellKnownSid(WinBuiltinAdministratorsSid, administrators));
    BOOL member = TRUE;
    EXPECT_TRUE(CheckTokenMembership(token.Get(), administrators.Get(), &member));
    EXPECT_FALSE(member);
}

} // namespace

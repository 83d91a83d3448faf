#include "tests/selftest/OrdinaryAccount.h"

#include "support/AccountSids.h"

#include <windows.h>

#include <aclapi.h>

namespace
{

// `token` must be one for impersonation; null asks for this thread.
bool HasAdministrators(HANDLE token)
{
    AccountSid administrators;
    BOOL member = FALSE;
    return WellKnownSid(WinBuiltinAdministratorsSid, administrators) &&
           CheckTokenMembership(token, administrators.Get(), &member) && member;
}

KernelHandle OwnToken()
{
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY | TOKEN_ASSIGN_PRIMARY | TOKEN_ADJUST_DEFAULT,
                     &token);
    return KernelHandle(token);
}

// An ordinary program has the medium level. The restricted token would keep the high one.
bool LowerIntegrity(HANDLE token)
{
    AccountSid medium;
    if (!WellKnownSid(WinMediumLabelSid, medium))
        return false;
    TOKEN_MANDATORY_LABEL label = {{medium.Get(), SE_GROUP_INTEGRITY}};
    return SetTokenInformation(token, TokenIntegrityLevel, &label, sizeof label + GetLengthSid(medium.Get())) != FALSE;
}

// An object that an administrator makes belongs to the group, which the token has lost: the program could not open
// its own events. The user takes the place of the group.
bool GiveToUser(HANDLE token)
{
    AccountSid user, system;
    if (!CurrentUserSid(user) || !WellKnownSid(WinLocalSystemSid, system))
        return false;
    TOKEN_OWNER owner = {user.Get()};
    alignas(8) std::byte memory[256];
    auto* list = reinterpret_cast<ACL*>(memory);
    TOKEN_DEFAULT_DACL access = {list};
    return SetTokenInformation(token, TokenOwner, &owner, sizeof owner) &&
           InitializeAcl(list, sizeof memory, ACL_REVISION) &&
           AddAccessAllowedAce(list, ACL_REVISION, GENERIC_ALL, user.Get()) &&
           AddAccessAllowedAce(list, ACL_REVISION, GENERIC_ALL, system.Get()) &&
           SetTokenInformation(token, TokenDefaultDacl, &access, sizeof access);
}

bool HasLostTheGroup(HANDLE token)
{
    HANDLE copy = nullptr;
    if (!DuplicateToken(token, SecurityIdentification, &copy))
        return false;
    return !HasAdministrators(KernelHandle(copy).Get());
}

} // namespace

OrdinaryAccount::OrdinaryAccount() : m_isAdministrator(HasAdministrators(nullptr))
{
    HANDLE restricted = nullptr;
    if (!m_isAdministrator ||
        !CreateRestrictedToken(OwnToken().Get(), LUA_TOKEN, 0, nullptr, 0, nullptr, 0, nullptr, &restricted))
        return;
    KernelHandle token(restricted);
    if (LowerIntegrity(token.Get()) && GiveToUser(token.Get()) && HasLostTheGroup(token.Get()))
        m_token = std::move(token);
}

std::string OrdinaryAccount::Words() const
{
    if (!m_isAdministrator)
        return "an ordinary account";
    return m_token ? "an ordinary account; tests that need an administrator run again as one"
                   : "an administrator: this system does not take these rights away";
}

#include "support/HandleOwner.h"

#include "support/AccountSids.h"

namespace
{

bool IsTrustedAccount(PSID account) noexcept
{
    AccountSid user, byDefault, system, administrators;
    return account && CurrentUserSid(user) && DefaultOwnerSid(byDefault) && WellKnownSid(WinLocalSystemSid, system) &&
           WellKnownSid(WinBuiltinAdministratorsSid, administrators) &&
           (EqualSid(account, user.Get()) || EqualSid(account, byDefault.Get()) || EqualSid(account, system.Get()) ||
            EqualSid(account, administrators.Get()));
}

} // namespace

bool IsOwnedByTrusted(HANDLE handle) noexcept
{
    alignas(8) std::byte memory[sizeof(SECURITY_DESCRIPTOR) + 2 * SECURITY_MAX_SID_SIZE];
    DWORD needed = 0;
    PSID owner = nullptr;
    BOOL defaulted = FALSE;
    if (!GetKernelObjectSecurity(handle, OWNER_SECURITY_INFORMATION, memory, sizeof memory, &needed) ||
        !GetSecurityDescriptorOwner(memory, &owner, &defaulted))
        return false;
    // An object without an owner may be anybody's.
    if (IsTrustedAccount(owner))
        return true;
    SetLastError(ERROR_INVALID_OWNER);
    return false;
}

#include "support/AccountSids.h"

#include "support/Handle.h"

namespace
{

KernelHandle EffectiveToken() noexcept
{
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) &&
        !OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        return {};
    return KernelHandle(token);
}

} // namespace

bool CurrentUserSid(AccountSid& user) noexcept
{
    const KernelHandle token = EffectiveToken();
    alignas(8) std::byte memory[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    return token && GetTokenInformation(token.Get(), TokenUser, memory, sizeof memory, &size) &&
           CopySid(sizeof user.bytes, user.Get(), reinterpret_cast<TOKEN_USER*>(memory)->User.Sid);
}

bool DefaultOwnerSid(AccountSid& owner) noexcept
{
    const KernelHandle token = EffectiveToken();
    alignas(8) std::byte memory[sizeof(TOKEN_OWNER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    return token && GetTokenInformation(token.Get(), TokenOwner, memory, sizeof memory, &size) &&
           CopySid(sizeof owner.bytes, owner.Get(), reinterpret_cast<TOKEN_OWNER*>(memory)->Owner);
}

bool WellKnownSid(WELL_KNOWN_SID_TYPE which, AccountSid& sid) noexcept
{
    DWORD size = sizeof sid.bytes;
    return CreateWellKnownSid(which, nullptr, sid.Get(), &size);
}

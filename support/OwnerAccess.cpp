#include "support/OwnerAccess.h"

#include "support/Handle.h"

namespace
{

struct Sid {
    alignas(8) std::byte bytes[SECURITY_MAX_SID_SIZE];
    SID* Get() noexcept { return reinterpret_cast<SID*>(bytes); }
};

KernelHandle EffectiveToken() noexcept
{
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) &&
        !OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        return {};
    return KernelHandle(token);
}

bool CurrentUser(Sid& user) noexcept
{
    const KernelHandle token = EffectiveToken();
    alignas(8) std::byte memory[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    return token && GetTokenInformation(token.Get(), TokenUser, memory, sizeof memory, &size) &&
           CopySid(sizeof user.bytes, user.Get(), reinterpret_cast<TOKEN_USER*>(memory)->User.Sid);
}

bool Known(WELL_KNOWN_SID_TYPE which, Sid& sid) noexcept
{
    DWORD size = sizeof sid.bytes;
    return CreateWellKnownSid(which, nullptr, sid.Get(), &size);
}

} // namespace

OwnerAccess::OwnerAccess() noexcept : m_made(Make()) {}

bool OwnerAccess::Make() noexcept
{
    Sid user, system, administrators;
    if (!CurrentUser(user) || !Known(WinLocalSystemSid, system) || !Known(WinBuiltinAdministratorsSid, administrators))
        return false;
    auto* list = reinterpret_cast<ACL*>(m_list.data());
    if (!InitializeAcl(list, static_cast<DWORD>(m_list.size()), ACL_REVISION))
        return false;
    for (Sid* sid : {&user, &system, &administrators})
        if (!AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, sid->Get()))
            return false;
    return InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&m_descriptor, TRUE, list, FALSE) &&
           SetSecurityDescriptorControl(&m_descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
}

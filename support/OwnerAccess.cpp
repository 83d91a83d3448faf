#include "support/OwnerAccess.h"

#include "support/AccountSids.h"

OwnerAccess::OwnerAccess(Others others) noexcept : m_made(Make(others)) {}

bool OwnerAccess::Make(Others others) noexcept
{
    AccountSid user, system, administrators, everyone;
    if (!CurrentUserSid(user) || !WellKnownSid(WinLocalSystemSid, system) ||
        !WellKnownSid(WinBuiltinAdministratorsSid, administrators) || !WellKnownSid(WinWorldSid, everyone))
        return false;
    auto* list = reinterpret_cast<ACL*>(m_list.data());
    if (!InitializeAcl(list, static_cast<DWORD>(m_list.size()), ACL_REVISION))
        return false;
    for (AccountSid* sid : {&user, &system, &administrators})
        if (!AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, sid->Get()))
            return false;
    constexpr DWORD reading = FILE_GENERIC_READ | FILE_EXECUTE; // FILE_EXECUTE lets them go through a folder
    if (others == Others::MayRead && !AddAccessAllowedAce(list, ACL_REVISION, reading, everyone.Get()))
        return false;
    return InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&m_descriptor, TRUE, list, FALSE) &&
           SetSecurityDescriptorControl(&m_descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
}

#include "support/HandleOwner.h"

#include "support/AccountSids.h"

#include <cstddef>
#include <vector>

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

// Entries for these accounts give the creator of a file rights to that file, and other accounts none.
bool StandsForCreator(PSID account) noexcept
{
    return IsWellKnownSid(account, WinCreatorOwnerSid) || IsWellKnownSid(account, WinCreatorGroupSid) ||
           IsWellKnownSid(account, WinCreatorOwnerRightsSid);
}

bool LetsOthersWrite(ACE_HEADER* entry) noexcept
{
    constexpr DWORD writing =
        FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
    if (entry->AceType != ACCESS_ALLOWED_ACE_TYPE || (entry->AceFlags & INHERIT_ONLY_ACE))
        return false;
    auto* const allowed = reinterpret_cast<ACCESS_ALLOWED_ACE*>(entry);
    PSID account = &allowed->SidStart;
    return (allowed->Mask & writing) && !IsTrustedAccount(account) && !StandsForCreator(account);
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

bool MayOthersWrite(HANDLE handle)
{
    DWORD size = 0;
    GetKernelObjectSecurity(handle, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<std::max_align_t> memory(size / sizeof(std::max_align_t) + 1);
    BOOL exists = FALSE, defaulted = FALSE;
    ACL* list = nullptr;
    if (size == 0 || !GetKernelObjectSecurity(handle, DACL_SECURITY_INFORMATION, memory.data(), size, &size) ||
        !GetSecurityDescriptorDacl(memory.data(), &exists, &list, &defaulted))
        return false;
    // No list, or an empty pointer, gives all accounts all rights.
    if (!exists || !list)
        return true;
    for (DWORD i = 0; i < list->AceCount; ++i)
        if (void* entry = nullptr; GetAce(list, i, &entry) && LetsOthersWrite(static_cast<ACE_HEADER*>(entry)))
            return true;
    return false;
}

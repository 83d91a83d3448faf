// The security identifiers of the accounts that may use the product's objects. Any thread.
#pragma once

#include <windows.h>

#include <cstddef>

struct AccountSid {
    alignas(8) std::byte bytes[SECURITY_MAX_SID_SIZE];
    SID* Get() noexcept { return reinterpret_cast<SID*>(bytes); }
};

// Reads the account that the thread impersonates, or that of the process. Returns false, with a last error, when it
// cannot be read.
bool CurrentUserSid(AccountSid& user) noexcept;
// Reads the default owner of what that account makes: for an administrator it may be the group.
bool DefaultOwnerSid(AccountSid& owner) noexcept;
bool WellKnownSid(WELL_KNOWN_SID_TYPE which, AccountSid& sid) noexcept;

// The security identifiers of the accounts that may use what is the product's. Any thread.
#pragma once

#include <windows.h>

#include <cstddef>

struct AccountSid {
    alignas(8) std::byte bytes[SECURITY_MAX_SID_SIZE];
    SID* Get() noexcept { return reinterpret_cast<SID*>(bytes); }
};

// The account that the thread impersonates, or that of the process. False, with a last error, when it cannot be told.
bool CurrentUserSid(AccountSid& user) noexcept;
// To whom what that account makes belongs by default: of an administrator it may be the group.
bool DefaultOwnerSid(AccountSid& owner) noexcept;
bool WellKnownSid(WELL_KNOWN_SID_TYPE which, AccountSid& sid) noexcept;

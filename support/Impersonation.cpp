#include "support/Impersonation.h"

CallerTokenScope::CallerTokenScope()
{
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE | TOKEN_QUERY, TRUE, &token))
        m_token.Reset(token);
}

CallerTokenScope::~CallerTokenScope()
{
    // Null takes the thread back to the rights of its process.
    SetThreadToken(nullptr, m_token.Get());
}

bool ImpersonateUser(HANDLE token) { return !token || ImpersonateLoggedOnUser(token); }

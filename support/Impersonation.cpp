#include "support/Impersonation.h"

CallerTokenScope::CallerTokenScope()
{
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE | TOKEN_QUERY, TRUE, &token))
        m_token.Reset(token);
    else
        m_hadNone = GetLastError() == ERROR_NO_TOKEN;
}

CallerTokenScope::~CallerTokenScope()
{
    // Null gives the thread the rights of its process: only a thread that came with them may leave with them.
    if (m_token || m_hadNone)
        SetThreadToken(nullptr, m_token.Get());
}

bool ImpersonateUser(HANDLE token) { return !token || ImpersonateLoggedOnUser(token); }

// Takes off the token with which the calling thread impersonates a user, and puts it back at the end of the scope.
//
// The files of the product belong to the account of the process; a thread that acts for the signed-in user may lack the
// right to open them.
#pragma once

#include "support/Handle.h"

class WithoutThreadToken
{
public:
    WithoutThreadToken() noexcept
    {
        HANDLE token = nullptr;
        // Opened with the process's rights: the user may lack the right to open even his own token.
        if (OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, &token))
            m_token.Reset(token);
        if (m_token && !RevertToSelf())
            m_token.Reset();
    }
    // Keeps the thread's last error, so that a failure inside can be reported after it.
    ~WithoutThreadToken()
    {
        const DWORD error = GetLastError();
        if (m_token)
            SetThreadToken(nullptr, m_token.Get());
        SetLastError(error);
    }
    WithoutThreadToken(const WithoutThreadToken&) = delete;
    WithoutThreadToken& operator=(const WithoutThreadToken&) = delete;

private:
    KernelHandle m_token;
};

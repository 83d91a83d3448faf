// The rights that a thread works with.
#pragma once

#include "support/Handle.h"

// Gives the calling thread its token back at the end of the scope: an exported operation works with other rights, but
// must not leave them to its caller. A token that cannot be read cannot be given back. The thread then keeps the token
// that it has at the end; it never gets the rights of the process.
class CallerTokenScope
{
public:
    CallerTokenScope();
    ~CallerTokenScope();
    CallerTokenScope(const CallerTokenScope&) = delete;
    CallerTokenScope& operator=(const CallerTokenScope&) = delete;

private:
    KernelHandle m_token;
    bool m_hadNone = false;
};

// Gives the calling thread the rights of the user; it keeps them. Returns true for a null token, too.
bool ImpersonateUser(HANDLE token);

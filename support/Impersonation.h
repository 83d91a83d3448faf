// Whose rights a thread works with.
#pragma once

#include "support/Handle.h"

// Gives the calling thread back the token that it came with: an exported operation works with other rights
// on its way, but must not leave them to its caller. A token that cannot be read cannot be given back; the thread then
// keeps the one it has, and never ends up with the rights of the process.
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

// Takes the user's rights for the calling thread, which keeps them. True for a null token, too.
bool ImpersonateUser(HANDLE token);

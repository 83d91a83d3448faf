// The rights of the user whose files are backed up.
#pragma once

#include "support/Impersonation.h"

#include <windows.h>

// Makes the calling thread act for the user until the end of the scope. A null token stands for the process itself; the
// thread then keeps its rights.
//
// If the system refuses the token, the operation must end, because the service could see and write more than the user
// may. The part that it leaves out is due.
class ActingForUser
{
public:
    explicit ActingForUser(HANDLE token) : m_acts(ImpersonateUser(token))
    {
        if (!m_acts)
            LogRefusal();
    }

    bool Acts() const { return m_acts; }

    // For a thread that keeps the rights of the user until it ends, and goes on without them.
    static void UntilTheThreadEnds(HANDLE token)
    {
        if (!ImpersonateUser(token))
            LogRefusal();
    }

private:
    static void LogRefusal();

    const CallerTokenScope m_caller;
    const bool m_acts;
};

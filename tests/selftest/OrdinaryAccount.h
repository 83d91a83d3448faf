// The account of this process without the rights of an administrator. Any thread.
#pragma once

#include "support/Handle.h"

#include <string>

class OrdinaryAccount
{
public:
    OrdinaryAccount();

    // Returns true when this process has the rights of an administrator.
    bool IsAdministrator() const { return m_isAdministrator; }
    // Returns the token for programs without these rights. Null: programs run as this process does, because it is no
    // administrator or its rights cannot be taken away.
    HANDLE Token() const { return m_token.Get(); }
    // Returns what the tests run as, in words.
    std::string Words() const;

private:
    bool m_isAdministrator = false;
    KernelHandle m_token;
};

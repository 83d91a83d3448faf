// The access for a named kernel object that other processes open by its name: a null access-control list. A service and
// a program of the signed-in user run under different accounts, and the default list would keep one of them out.
//
// One object serves any number of creations, and must live while they run.
#pragma once

#include <windows.h>

class SharedAccess
{
public:
    SharedAccess() noexcept
    {
        InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&m_descriptor, TRUE, nullptr, FALSE);
    }
    SharedAccess(const SharedAccess&) = delete;
    SharedAccess& operator=(const SharedAccess&) = delete;

    SECURITY_ATTRIBUTES* Attributes() noexcept { return &m_attributes; }

private:
    SECURITY_DESCRIPTOR m_descriptor;
    SECURITY_ATTRIBUTES m_attributes = {sizeof(SECURITY_ATTRIBUTES), &m_descriptor, FALSE};
};

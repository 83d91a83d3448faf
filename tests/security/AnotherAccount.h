// Gives files to another account. A test has only one account: when one module of the product asks for the owner of a
// file, all files of one name belong to another account.
#pragma once

#include "support/AccountSids.h"
#include "tests/support/ImportedCall.h"

#include <string>

class AnotherAccount
{
public:
    // `name`: the last name of their paths. A null module is the test program itself.
    AnotherAccount(const wchar_t* module, std::wstring name)
        : m_name(Name() = std::move(name)),
          m_call(module, "GetKernelObjectSecurity", &Ask)
    {
    }

private:
    static std::wstring& Name()
    {
        static std::wstring name;
        return name;
    }

    static bool IsForeign(HANDLE handle)
    {
        wchar_t path[1024] = L"";
        GetFinalPathNameByHandleW(handle, path, 1024, 0);
        return std::wstring(path).ends_with(L"\\" + Name());
    }

    static BOOL WINAPI Ask(HANDLE handle, SECURITY_INFORMATION wanted, PSECURITY_DESCRIPTOR descriptor, DWORD size,
                           DWORD* needed)
    {
        if (!IsForeign(handle)) {
            // The test program's own call may be the one that this object replaces.
            static const auto system = reinterpret_cast<decltype(&Ask)>(
                reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), "GetKernelObjectSecurity")));
            return system(handle, wanted, descriptor, size, needed);
        }
        AccountSid guests;
        SECURITY_DESCRIPTOR foreign;
        return WellKnownSid(WinBuiltinGuestsSid, guests) &&
               InitializeSecurityDescriptor(&foreign, SECURITY_DESCRIPTOR_REVISION) &&
               SetSecurityDescriptorOwner(&foreign, guests.Get(), FALSE) &&
               MakeSelfRelativeSD(&foreign, descriptor, &(*needed = size));
    }

    const std::wstring m_name;
    const ImportedCall m_call;
};

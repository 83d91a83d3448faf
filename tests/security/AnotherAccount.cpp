#include "tests/security/AnotherAccount.h"

#include "support/AccountSids.h"

#include <winternl.h>

namespace
{

std::wstring& ForeignName()
{
    static std::wstring name;
    return name;
}

std::wstring ObjectName(HANDLE handle)
{
    struct {
        UNICODE_STRING name;
        wchar_t text[1024];
    } answer = {};
    constexpr auto objectName = static_cast<OBJECT_INFORMATION_CLASS>(1);
    if (NtQueryObject(handle, objectName, &answer, sizeof answer, nullptr) < 0 || !answer.name.Buffer)
        return {};
    return {answer.name.Buffer, answer.name.Length / sizeof(wchar_t)};
}

bool IsForeign(HANDLE handle)
{
    wchar_t path[1024] = L"";
    const bool isFile = GetFinalPathNameByHandleW(handle, path, 1024, 0) != 0;
    return (isFile ? std::wstring(path) : ObjectName(handle)).ends_with(L"\\" + ForeignName());
}

BOOL WINAPI Ask(HANDLE handle, SECURITY_INFORMATION wanted, PSECURITY_DESCRIPTOR descriptor, DWORD size, DWORD* needed)
{
    if (!IsForeign(handle)) {
        // The test program's own call may be the one that is replaced.
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

} // namespace

AnotherAccount::AnotherAccount(const wchar_t* module, std::wstring name)
    : m_name(ForeignName() = std::move(name)),
      m_call(module, "GetKernelObjectSecurity", &Ask)
{
}

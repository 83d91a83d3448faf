#include "tests/support/TestMachine.h"

#include "tests/support/EnvironmentText.h"
#include "tests/support/FolderTree.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#include <winternl.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace
{

std::wstring g_dataFolder;

} // namespace

void PrepareTestProcess()
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    g_dataFolder = EnvironmentText(L"TEMP") + L"\\orb-data-" + std::to_wstring(GetCurrentProcessId());
    CreateDirectoryW(g_dataFolder.c_str(), nullptr);
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", g_dataFolder.c_str());
}

void LeaveTestProcess() { RemoveTree(g_dataFolder); }

bool HeapsAreWhole()
{
    std::vector<HANDLE> heaps(64);
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    heaps.resize(count < heaps.size() ? count : heaps.size());
    for (const HANDLE heap : heaps)
        if (!HeapValidate(heap, 0, nullptr))
            return false;
    return !heaps.empty();
}

int OpenHandles()
{
    const auto extendedHandles = static_cast<SYSTEM_INFORMATION_CLASS>(64);
    constexpr auto tooSmall = static_cast<NTSTATUS>(0xC0000004);
    struct Entry {
        void* object;
        ULONG_PTR process, handle;
        ULONG access;
        USHORT trace, type;
        ULONG attributes, reserved;
    };
    struct Table {
        ULONG_PTR count, reserved;
        Entry entries[1];
    };
    using Query = NTSTATUS(NTAPI*)(SYSTEM_INFORMATION_CLASS, void*, ULONG, ULONG*);
    static const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<ULONG_PTR> memory(1 << 13);
    NTSTATUS status = 0;
    while ((status = query(extendedHandles, memory.data(), static_cast<ULONG>(memory.size() * sizeof(ULONG_PTR)),
                           nullptr)) == tooSmall)
        memory.resize(memory.size() * 2);
    if (status < 0)
        throw std::runtime_error("the handles cannot be counted");
    const auto* table = reinterpret_cast<const Table*>(memory.data());
    return static_cast<int>(std::count_if(table->entries, table->entries + table->count,
                                          [](const Entry& entry) { return entry.process == GetCurrentProcessId(); }));
}

bool OnlyItsOwnerReads(const std::wstring& path)
{
    ACL* list = nullptr;
    SID* owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                              reinterpret_cast<void**>(&owner), nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS)
        return false;
    bool only = list != nullptr;
    for (DWORD i = 0; only && i < list->AceCount; ++i) {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        const bool reads = allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE && (allowed->Mask & FILE_READ_DATA);
        auto* sid = reinterpret_cast<SID*>(&allowed->SidStart);
        if (reads && !EqualSid(sid, owner) && !IsWellKnownSid(sid, WinLocalSystemSid) &&
            !IsWellKnownSid(sid, WinBuiltinAdministratorsSid))
            only = false;
    }
    LocalFree(descriptor);
    return only;
}

std::string Narrow(std::wstring_view text)
{
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(), length, nullptr,
                        nullptr);
    return narrow;
}

// The list is set afterwards: the system below may take rights away from a new folder.
bool MakeFolderForAll(const std::wstring& path)
{
    PSECURITY_DESCRIPTOR forAll = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;OICI;FA;;;WD)", SDDL_REVISION_1, &forAll, nullptr))
        return false;
    const bool made =
        CreateDirectoryW(path.c_str(), nullptr) && SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, forAll);
    LocalFree(forAll);
    return made;
}

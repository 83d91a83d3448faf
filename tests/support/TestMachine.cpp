#include "tests/support/TestMachine.h"

#include "support/Handle.h"
#include "support/HandleOwner.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#include <winternl.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace
{

std::wstring g_dataFolder;

std::wstring EnvironmentText(const wchar_t* name)
{
    wchar_t text[1024] = {};
    const DWORD length = GetEnvironmentVariableW(name, text, 1024);
    return length < 1024 ? std::wstring(text, length) : std::wstring();
}

std::wstring UnixPath(const wchar_t* path)
{
    using Translate = char*(CDECL*)(const wchar_t*);
    const auto translate = reinterpret_cast<Translate>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* text = translate ? translate(path) : nullptr;
    if (!text)
        return {};
    const std::string narrow = text;
    HeapFree(GetProcessHeap(), 0, text);
    return {narrow.begin(), narrow.end()};
}

// Wine starts programs of the system below it, which is how drives are changed from inside. Such a process
// cannot be waited for; a file says when it is done.
bool RunBelow(const std::wstring& command)
{
    const std::wstring done = EnvironmentText(L"TEMP") + L"\\orb-done-" + std::to_wstring(GetCurrentProcessId());
    DeleteFileW(done.c_str());
    std::wstring line = L"\"Z:\\bin\\sh\" -c \"" + command + L" && touch '" + UnixPath(done.c_str()) + L"'\"";
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process))
        return false;
    const ULONGLONG end = GetTickCount64() + 20000;
    while (GetFileAttributesW(done.c_str()) == INVALID_FILE_ATTRIBUTES && GetTickCount64() < end)
        Sleep(2);
    return DeleteFileW(done.c_str()) != FALSE;
}

std::wstring DriveLink(char letter)
{
    return L"$WINEPREFIX/dosdevices/" + std::wstring(1, static_cast<wchar_t>(letter)) + L":";
}

void RemoveTree(const std::wstring& folder)
{
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            const std::wstring name = found.cFileName;
            if (name == L"." || name == L"..")
                continue;
            const std::wstring path = folder + L"\\" + name;
            if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                RemoveTree(path);
            else
                DeleteFileW(path.c_str());
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    RemoveDirectoryW(folder.c_str());
}

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

bool MakeLink(const std::wstring& path, const std::wstring& target)
{
    const std::wstring there = target.starts_with(L'/') ? target : UnixPath(target.c_str());
    return RunBelow(L"ln -s '" + there + L"' '" + UnixPath(path.c_str()) + L"'");
}

bool RemoveLink(const std::wstring& path) { return RunBelow(L"rm -f '" + UnixPath(path.c_str()) + L"'"); }

bool MakeOddName(const std::wstring& folder, const std::wstring& name)
{
    return RunBelow(L"touch '" + UnixPath(folder.c_str()) + L"/" + name + L"'");
}

bool RemoveOddName(const std::wstring& folder, const std::wstring& name)
{
    return RunBelow(L"rm -f '" + UnixPath(folder.c_str()) + L"/" + name + L"'");
}

bool GiveAway(const std::wstring& path)
{
    RunBelow(L"chown 54321 '" + UnixPath(path.c_str()) + L"' || true");
    const FileHandle file(CreateFileW(path.c_str(), READ_CONTROL, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return file && !IsOwnedByTrusted(file.Get());
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

bool AttachDrive(char letter, const wchar_t* folder)
{
    return RunBelow(L"ln -sfn '" + UnixPath(folder) + L"' " + DriveLink(letter));
}

bool DetachDrive(char letter) { return RunBelow(L"rm -f " + DriveLink(letter)); }

std::wstring PrefixFolder(const wchar_t* name)
{
    std::wstring path = L"Z:" + EnvironmentText(L"WINEPREFIX") + L"/" + name;
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}

std::wstring MakeVolume(const wchar_t* name, unsigned serial)
{
    const std::wstring folder =
        EnvironmentText(L"TEMP") + L"\\orb-volume-" + name + L"-" + std::to_wstring(GetCurrentProcessId());
    RemoveTree(folder);
    CreateDirectoryW(folder.c_str(), nullptr);
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08x\n", serial);
    if (FILE* file = _wfopen((folder + L"\\.windows-serial").c_str(), L"wb")) {
        std::fputs(digits, file);
        std::fclose(file);
    }
    return folder;
}

#include "tests/selftest/MachineFacts.h"

#include "support/Handle.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <winternl.h>

namespace
{

template <typename Function>
Function* OfNtdll(const char* name)
{
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

std::string RegistryText(const wchar_t* name)
{
    wchar_t text[256] = L"";
    DWORD size = sizeof text;
    return RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", name, RRF_RT_REG_SZ,
                        nullptr, text, &size) == ERROR_SUCCESS
               ? Narrow(text)
               : "";
}

// GetVersionEx answers by the program's manifest; this call does not.
std::string System()
{
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (const auto ask = OfNtdll<LONG WINAPI(OSVERSIONINFOW*)>("RtlGetVersion"))
        ask(&version);
    std::string system = RegistryText(L"ProductName") + " " + RegistryText(L"DisplayVersion") + " (" +
                         std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) + "." +
                         std::to_string(version.dwBuildNumber) + ")";
    if (const auto wine = OfNtdll<const char * CDECL()>("wine_get_version"))
        system = "Wine " + std::string(wine()) + ", which stands for " + system;
    return system;
}

std::string FileSystem(const std::filesystem::path& folder)
{
    wchar_t root[MAX_PATH] = L"", system[64] = L"";
    DWORD flags = 0;
    if (!GetVolumePathNameW(folder.c_str(), root, MAX_PATH) ||
        !GetVolumeInformationW(root, nullptr, 0, nullptr, nullptr, &flags, system, 64))
        return "unknown";
    return Narrow(system) + (flags & FILE_SUPPORTS_REPARSE_POINTS ? ", with links" : ", without links") +
           (flags & FILE_NAMED_STREAMS ? ", with streams" : ", without streams");
}

std::string ShortNames(const std::filesystem::path& folder)
{
    const std::wstring path = (folder / L"a name that is long.probe").wstring();
    const FileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    wchar_t name[MAX_PATH] = L"";
    const DWORD length = GetShortPathNameW(path.c_str(), name, MAX_PATH);
    return length > 0 && std::wstring_view(name).find(L'~') != std::wstring_view::npos ? "yes" : "no";
}

std::string Memory()
{
    MEMORYSTATUSEX memory = {};
    memory.dwLength = sizeof memory;
    GlobalMemoryStatusEx(&memory);
    return std::to_string(memory.ullTotalPhys >> 20) + " MiB";
}

std::string Language()
{
    wchar_t name[LOCALE_NAME_MAX_LENGTH] = L"";
    GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);
    return Narrow(name) + ", code page " + std::to_string(GetACP());
}

std::string Time()
{
    SYSTEMTIME now;
    GetSystemTime(&now);
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond);
    return text;
}

} // namespace

MachineFacts ReadMachineFacts(const std::filesystem::path& work)
{
    return {{"Product", ORB_VERSION},
            {"System", System()},
            {"Folder", Narrow(work.wstring())},
            {"File system", FileSystem(work)},
            {"8.3 names", ShortNames(work)},
            {"Processors", std::to_string(GetActiveProcessorCount(ALL_PROCESSOR_GROUPS))},
            {"Memory", Memory()},
            {"Language", Language()},
            {"Began", Time()}};
}

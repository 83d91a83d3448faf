#include "host/Wine.h"
#include "support/AccountSids.h"
#include "support/Handle.h"
#include "support/HandleOwner.h"
#include "tests/filter/ReparseBytes.h"
#include "tests/support/SystemBelow.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <aclapi.h>
#include <winioctl.h>

namespace
{

// Creating a symbolic link needs a right that ordinary accounts have in developer mode only.
bool MakeSymbolicLink(const std::wstring& path, const std::wstring& target, DWORD flags)
{
    constexpr DWORD unprivileged = 2; // SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE
    return CreateSymbolicLinkW(path.c_str(), target.c_str(), flags | unprivileged) &&
           GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool EnableRight(const wchar_t* name)
{
    HANDLE handle = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &handle))
        return false;
    const KernelHandle token(handle);
    TOKEN_PRIVILEGES rights = {1, {{{}, SE_PRIVILEGE_ENABLED}}};
    return LookupPrivilegeValueW(nullptr, name, &rights.Privileges[0].Luid) &&
           AdjustTokenPrivileges(token.Get(), FALSE, &rights, 0, nullptr, nullptr) && GetLastError() == ERROR_SUCCESS;
}

} // namespace

bool MakeJunction(const std::wstring& path, const std::wstring& target)
{
    if (!CreateDirectoryW(path.c_str(), nullptr))
        return false;
    const Bytes bytes = MountPoint(L"\\??\\" + target);
    DWORD size = 0;
    const FileHandle folder(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                        nullptr));
    if (folder && DeviceIoControl(folder.Get(), FSCTL_SET_REPARSE_POINT, const_cast<std::byte*>(bytes.data()),
                                  static_cast<DWORD>(bytes.size()), nullptr, 0, &size, nullptr))
        return true;
    const DWORD error = GetLastError();
    RemoveDirectoryW(path.c_str());
    SetLastError(error);
    return false;
}

std::string WhyNoFileLinks(const std::wstring& folder)
{
    if (RunsUnderWine())
        return {};
    const std::wstring probe = folder + L"\\link probe";
    if (!MakeSymbolicLink(probe, L"no target", 0) && GetLastError() == ERROR_PRIVILEGE_NOT_HELD)
        return "needs an administrator, or developer mode: this account may not make symbolic links";
    DeleteFileW(probe.c_str());
    return {};
}

bool MakeLink(const std::wstring& path, const std::wstring& target)
{
    if (RunsUnderWine())
        return RunBelow(L"ln -s '" + (target.starts_with(L'/') ? target : PathBelow(target)) + L"' '" +
                        PathBelow(path) + L"'");
    const DWORD attributes = GetFileAttributesW(target.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY))
        return MakeSymbolicLink(path, target, 0);
    // Every account may make a junction, also one to itself.
    return MakeJunction(path, target);
}

bool RemoveLink(const std::wstring& path)
{
    if (RunsUnderWine())
        return RunBelow(L"rm -f '" + PathBelow(path) + L"'");
    return RemoveDirectoryW(path.c_str()) || DeleteFileW(path.c_str());
}

std::string WhyNoOddNames() { return RunsUnderWine() ? "" : "Windows has no files with such names"; }

bool MakeOddName(const std::wstring& folder, const std::wstring& name)
{
    return RunBelow(L"touch '" + PathBelow(folder) + L"/" + name + L"'");
}

bool RemoveOddName(const std::wstring& folder, const std::wstring& name)
{
    return RunBelow(L"rm -f '" + PathBelow(folder) + L"/" + name + L"'");
}

// On Windows only an administrator may make another account the owner, with the right to restore files.
bool GiveAway(const std::wstring& path)
{
    if (RunsUnderWine())
        RunBelow(L"chown 54321 '" + PathBelow(path) + L"' || true");
    else if (AccountSid guests; EnableRight(SE_RESTORE_NAME) && WellKnownSid(WinBuiltinGuestsSid, guests)) {
        std::wstring name = path;
        SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, guests.Get(), nullptr, nullptr,
                              nullptr);
    }
    const FileHandle file(CreateFileW(path.c_str(), READ_CONTROL, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return file && !IsOwnedByTrusted(file.Get());
}

// The place where the product keeps its data. Header only: the settings use the log, so that the log must not need the
// settings library. Any thread.
#pragma once

#include "mfc/CString.h"
#include "support/OwnerAccess.h"

#include <windows.h>

#include <shlobj.h>

#include <string>

namespace DataFolder
{

inline std::wstring Environment(const wchar_t* name)
{
    std::wstring value(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
        const bool fits = length < value.size();
        value.resize(length);
        if (fits)
            return value;
    }
}

inline std::wstring ProgramData()
{
    std::wstring folder = Environment(L"ProgramData");
    if (!folder.empty())
        return folder;
    wchar_t buffer[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, buffer);
    return buffer;
}

// Returns the named folder, absolute and without a trailing backslash. It need not exist.
inline CString Path()
{
    std::wstring named = Environment(L"ORB_DATA_FOLDER");
    if (named.empty())
        named = ProgramData() + L"\\OrbWatcher4";
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetFullPathNameW(named.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        const bool fits = length < full.size();
        full.resize(length);
        if (fits)
            break;
    }
    CString path(std::wstring_view{full.empty() ? named : full});
    return path.TrimRight(L'\\');
}

// Creates the folder and its parents. Returns true when it exists in the end, whichever account made it (see
// IsTrustedFolder). Folders that this call makes belong to this account; the system and the administrators may write to
// them, too, and all others may only read.
inline bool Create(const CString& folder)
{
    const auto isFolder = [](const wchar_t* path) {
        const DWORD attributes = GetFileAttributesW(path);
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    };
    OwnerAccess access(OwnerAccess::Others::MayRead);
    if (isFolder(folder) || CreateDirectoryW(folder, access.Attributes()))
        return true;
    const int slash = folder.ReverseFind(L'\\');
    if (GetLastError() != ERROR_PATH_NOT_FOUND || slash <= 2 || !Create(folder.Left(slash)))
        return isFolder(folder);
    return CreateDirectoryW(folder, access.Attributes()) || isFolder(folder);
}

} // namespace DataFolder
